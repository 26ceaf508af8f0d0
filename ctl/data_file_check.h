// Reads protected data files with the daemon's own readers and, where these refuse one with no more than a
// code, finds out what is wrong with it.
#pragma once

#include <string>
#include <vector>

#include "ctl/data_file_kind.h"

// The records as the daemon would take them. Throws CtlError that names the file and what is wrong with it.
Records ReadDataFile(const std::string& path, const tagDataFileKind& kind);
