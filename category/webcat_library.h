// The boundary to the category engine, libwebcat.so, which is linked by name. Leaf header: the library
// includes it too. Another maker's library with the same functions can take its place.
//
// The daemon starts, refreshes and stops the library on its main thread while no worker looks anything up;
// the look-ups come from all workers at once.
#pragma once

#include <cstdint>

#include "common/export.h"

constexpr uint32_t WEBCAT_ENTRY_BYTES = 612;

// The library's category table, which it fills when it is initialised; the daemon only reads it.
#pragma pack(push, 1)
struct tagWebCatMapping {
    uint16_t nCount;
    const uint8_t* pEntries;  // nCount entries of WEBCAT_ENTRY_BYTES; the first u16 is the logical id
};
#pragma pack(pop)
static_assert(sizeof(tagWebCatMapping) == 10);

extern "C" {

// 0: initialised.
WEBSEC_API int WCInit();
WEBSEC_API int WCDeinit();

// Drops what the library has cached. May be called whether it is initialised or not.
WEBSEC_API int PerformCacheRefresh();

// Fill categories, an array of five, and count for the host (NUL-terminated) and the whole URL. 0 is success,
// anything else means that there are none to use.
WEBSEC_API int WCGetURLCategories(const char* szHost, const char* szURL, unsigned short* pCategories,
                                  unsigned short* pCount);
WEBSEC_API int WCGetKVURLCategories(const char* szHost, const char* szURL, unsigned short* pCategories,
                                    unsigned short* pCount);

// Writes the logical id of a category server's id.
WEBSEC_API int ConvertFromRealToLogical(unsigned short nReal, unsigned short* pLogical);

// The daemon's, for the library to fill.
extern WEBSEC_API tagWebCatMapping g_WebCatMapping;
}
