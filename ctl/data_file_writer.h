// Writes protected data files: the only producer of the format whose readers are policy/data_file.h.
#pragma once

#include <string>

#include "ctl/data_file_kind.h"

// Puts a file with these records in place of `path`: complete or not at all, since it is renamed there from a
// file beside it once it is on the disk. Throws CtlError with the cause; `path` is then as it was.
void WriteDataFile(const std::string& path, const tagDataFileKind& kind, const Records& records);
