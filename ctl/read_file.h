// Whole small files as text: input of the administrator, and what the kernel tells in /proc.
#pragma once

#include <optional>
#include <string>

// Everything up to the end of the file, or nothing with errno set.
std::optional<std::string> ReadTextFile(const std::string& path);

// The same for an open descriptor, which stays open.
std::optional<std::string> ReadDescriptor(int fd);
