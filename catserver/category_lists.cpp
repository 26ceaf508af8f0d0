#include "catserver/category_lists.h"

#include <algorithm>

#include "category/category_table.h"
#include "modules/urlmap/url_expressions.h"

int LoadCategoryLists(tagCategoryLists& lists) {
    tagURLMap map;
    const int nResult = OpenURLMap(&map, lists.szPath, URLMAP_CATEGORIES);
    if (nResult != URLMAP_OK && nResult != URLMAP_MISSING) return nResult;
    CloseURLMap(&lists.map);
    lists.map = map;
    return nResult;
}

uint32_t FindRealIds(const tagCategoryLists& lists, std::string_view szURL,
                     std::span<uint16_t, URLMAP_CATEGORIES_MAX> realIds) {
    tagURLKeys keys;
    if (MakeURLKeys(szURL, &keys) == 0) return 0;
    const auto found = realIds.first(FindURLCategories(lists.map, keys, realIds));
    const auto end =
        std::remove_if(found.begin(), found.end(), [](uint16_t nId) { return nId >= CATEGORY_COUNT; });
    return static_cast<uint32_t>(end - found.begin());
}
