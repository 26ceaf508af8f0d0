// Reading what the kernel tells in /proc: small text files and the links that name a process's program,
// namespaces and open files.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

// The whole text, or nothing when the file cannot be read (the process may have ended, or its owner is
// another).
std::optional<std::string> ReadProcText(const std::string& path);

// Where the link points, or nothing when it cannot be read.
std::optional<std::string> ReadProcLink(const std::string& path);

// Every process that /proc shows, in rising order.
std::vector<pid_t> ListProcesses();

// "/proc/PID/" with the name behind it.
std::string ProcPath(pid_t pid, const char* szName);
