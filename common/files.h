// Whether a path exists, and copies of files. Part of the interface that plug-ins reach by name; any thread.
#pragma once

#include "common/export.h"

extern "C" {

// 1 when the path exists, else 0, also for null.
WEBSEC_API int IsValidPath(const char* path);

// Copies a file over another one (not over itself); dst is created or truncated. 1 when the whole file was
// copied. 0 for null, when either cannot be opened, and when reading or writing fails half-way.
WEBSEC_API int KVCopyFile(const char* src, const char* dst);  // dst created with 0600; a failed copy stays
WEBSEC_API int CopyFile(const char* src, const char* dst);    // dst gets 0777; a failed copy is deleted
}
