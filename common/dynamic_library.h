// Plug-ins at run time (dlopen(3)). Part of the interface that plug-ins themselves reach by name; any thread,
// but szErrMsg is written without a lock.
#pragma once

#include "common/export.h"

extern "C" {

// The last failure of KVLoadLibrary, NUL-terminated; empty before the first.
extern WEBSEC_API char szErrMsg[2048];

// Loads a library and binds all its symbols at once. Gives its handle, or null; then "/kvcommon.log" has a
// line, and unless the path was null szErrMsg says the same.
WEBSEC_API void* KVLoadLibrary(const char* path);

// Gives the handle back. Null is left alone.
WEBSEC_API void KVFreeLibrary(void* handle);

// The address of a symbol, or null when the library has none or an argument is null.
WEBSEC_API void* KVGetProcAddress(void* handle, const char* symbol);
}
