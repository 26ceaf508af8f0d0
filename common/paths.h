// Where the product and the running program are, and names for new files. Part of the interface that plug-ins
// reach by name; any thread, but GetUniqueFileName draws from rand, whose state the process shares.
#pragma once

#include "common/export.h"

extern "C" {

// Copies the product directory, with its trailing "/", into out and gives 1 when that directory exists.
// Otherwise, and for null, 0 with nothing written.
WEBSEC_API int GetKvPath(char* out);

// The directory of the running program, with its trailing "/". A longer path is cut to size - 1 bytes first.
// Gives 1, or 0 with nothing written when the buffer is null or too small, or the program cannot be told.
WEBSEC_API int GetAppPath(char* buffer, int size);

// The same into a buffer of at least 260 bytes.
WEBSEC_API int GetModulePath(char* out);

// A file name that does not exist in dir yet: prefix, four digits, ".", ext ("tmp" for null and for more than
// 10 characters). The name alone goes into out, which needs room for the prefix and 16 bytes more. Nothing is
// created: another process may take the name meanwhile. Gives 1; 0 when dir, prefix or out is null or when no
// free name turns up.
WEBSEC_API int GetUniqueFileName(const char* dir, const char* prefix, const char* ext, char* out);

// Gives 0 and writes nothing; kept for those who look it up.
WEBSEC_API int GetPid(char* name, int* pid);
}
