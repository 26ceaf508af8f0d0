// A request to the category server, and what is looked up for it: whatever is sent, the URL lies within it.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "catserver/category_lists.h"
#include "catserver/category_request.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    std::string_view szURL;
    if (!ParseCategoryRequest({pData, nSize}, &szURL)) return 0;
    const char* const pEnd = reinterpret_cast<const char*>(pData) + nSize;
    if (szURL.data() + szURL.size() >= pEnd || szURL.find('\0') != szURL.npos) std::abort();

    const tagCategoryLists lists = {};
    uint16_t realIds[URLMAP_CATEGORIES_MAX];
    if (FindRealIds(lists, szURL, realIds) != 0) std::abort();
    return 0;
}
