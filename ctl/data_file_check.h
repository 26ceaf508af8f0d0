// Reads protected data files with the daemon's own readers and, where these refuse one with no more than a
// code, finds out what is wrong with it.
#pragma once

#include <string>
#include <vector>

#include "ctl/data_file_kind.h"

struct tagDataFileContent {
    Records records;                    // as the daemon would take them; none with a problem
    std::vector<std::string> problems;  // in words; at least one when the daemon refuses the file
};

// Throws CtlError when the file cannot be opened at all.
tagDataFileContent ReadDataFile(const std::string& path, const tagDataFileKind& kind);
