// The imported categories, as the server asks them. One thread.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "modules/urlmap/list_files.h"
#include "modules/urlmap/url_map.h"

// Zeroed but for the path: no site has a category.
struct tagCategoryLists {
    char szPath[LIST_PATH_BYTES];  // of categories.map
    tagURLMap map;
};

// Reads the file afresh and takes it over in one step. URLMAP_OK, or
//   URLMAP_MISSING   nothing was imported: no site has a category
//   another code     the file is of no use; what was in force stays so
int LoadCategoryLists(tagCategoryLists& lists);

// The real ids of a URL, the best match first. Returns how many; 0 for an unknown site and for a text that is
// no URL.
uint32_t FindRealIds(const tagCategoryLists& lists, std::string_view szURL,
                     std::span<uint16_t, URLMAP_CATEGORIES_MAX> realIds);
