#include "common/dynamic_library.h"

#include <dlfcn.h>
#include <stdio.h>

#include "common/log_file.h"

namespace {

constexpr char LOADER_LOG[] = "/kvcommon.log";

}  // namespace

char szErrMsg[2048];

void* KVLoadLibrary(const char* path) {
    if (!path) {
        WriteToLog(LOADER_LOG, "KVLoadLibrary: Invalid parameters");
        return nullptr;
    }
    void* pHandle = dlopen(path, RTLD_NOW);
    if (!pHandle) {
        snprintf(szErrMsg, sizeof(szErrMsg), "In KVLoadLibrary(): dlopen Error!!!%s", dlerror());
        WriteToLog(LOADER_LOG, szErrMsg);
    }
    return pHandle;
}

void KVFreeLibrary(void* handle) {
    if (handle) dlclose(handle);
}

void* KVGetProcAddress(void* handle, const char* symbol) {
    return handle && symbol ? dlsym(handle, symbol) : nullptr;
}
