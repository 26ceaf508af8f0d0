// The category engine: which back end categorises a URL, and whether the engine library is up.
//
// The engine library is not bound yet: starting finds nothing to start, so no request has categories and
// none is blocked for one. The callers already stand where they belong.
#pragma once

#include <cstdint>

#include "common/export.h"

enum : uint8_t { CATENGINE_LIBRARY = 0, CATENGINE_LIBRARY_KV = 1, CATENGINE_SERVER = 2 };

// The engine library's category table, filled by the library, read when a category is named.
#pragma pack(push, 1)
struct tagWebCatMapping {
    uint16_t nCount;
    const uint8_t* pEntries;  // nCount entries of WEBCAT_ENTRY_BYTES; the first u16 is the logical id
};
#pragma pack(pop)
static_assert(sizeof(tagWebCatMapping) == 10);
constexpr uint32_t WEBCAT_ENTRY_BYTES = 612;

// Shared by name with libraries loaded into the process. Written on the main thread, with the workers held
// or not yet started; any thread reads.
extern "C" {
extern WEBSEC_API uint8_t g_bUseCatServer;         // CATENGINE_LIBRARY, _LIBRARY_KV, else the server
extern WEBSEC_API uint8_t g_bCTFunctionalityMode;  // 1 while the engine library is initialised
extern WEBSEC_API tagWebCatMapping g_WebCatMapping;
}

// Starts the engine library where the category-filter status wants it. Returns 0.
int StartCategoryEngine();

// Shuts the engine library down.
void StopCategoryEngine();

// Drops what the engine library has cached.
void RefreshCategoryCache();
