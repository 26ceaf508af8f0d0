// What the kernel tells about processes in /proc: which there are, and the links that name their program,
// namespaces and open files.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

// Where the link points, or nothing when it cannot be read.
std::optional<std::string> ReadProcLink(const std::string& path);

// Every process that /proc shows, in rising order.
std::vector<pid_t> ListProcesses();

// "/proc/PID/" with the name behind it.
std::string ProcPath(pid_t pid, const char* szName);
