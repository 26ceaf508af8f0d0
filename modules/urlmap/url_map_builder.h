// Builds a mapped list from names in any order: 16 bytes of memory for each name added, sorted in memory,
// then written beside the old file and put in its place, so that a failed or interrupted build leaves the old
// file in force. The format is in url_map.h.
//
// A name added twice stands once: a threat keeps the text added first, categories add up, in the order of
// adding, to at most URLMAP_CATEGORIES_MAX; what goes beyond is counted in nCategoriesLost.
//
// One thread. Nothing throws or prints.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "modules/urlmap/url_map.h"

struct tagBuilderName;
struct tagTextTable;

struct tagURLMapBuilder {
    uint32_t nKind;
    tagBuilderName* pNames;
    uint32_t nNames;  // added so far; after WriteURLMap those that differ
    uint32_t nRoom;
    tagTextTable* pTexts;
    uint32_t nMerged;          // names that stood there already; set by WriteURLMap
    uint32_t nCategoriesLost;  // categories that had no room in their name's set; set by WriteURLMap
};

// Begins a map of kind nKind; *pBuilder is overwritten. URLMAP_OK or URLMAP_NO_MEMORY.
int StartURLMap(tagURLMapBuilder* pBuilder, uint32_t nKind);

// Adds one expression (of a canonical URL) to a map of threats; the name is cut to URLMAP_TEXT_BYTES_MAX and
// must not be empty. URLMAP_OK, URLMAP_NO_MEMORY or URLMAP_TOO_MANY; on failure nothing was added.
int AddThreat(tagURLMapBuilder* pBuilder, uint64_t nKey, std::string_view name);

// Adds one expression to a map of categories, with one category of the category table. Codes as above.
int AddCategory(tagURLMapBuilder* pBuilder, uint64_t nKey, uint16_t nCategory);

// Sorts and merges what was added and writes it: a temporary file in the same folder, synchronised, renamed
// to szPath (mode 0644). May be called once; afterwards only FreeURLMapBuilder may.
// URLMAP_OK; URLMAP_NO_MEMORY, URLMAP_TOO_MANY (different sets of categories), URLMAP_SYSTEM (errno): szPath
// is as it was and no temporary file is left.
int WriteURLMap(tagURLMapBuilder* pBuilder, const char* szPath);

// Gives everything back and leaves a zeroed record. Safe on a zeroed record.
void FreeURLMapBuilder(tagURLMapBuilder* pBuilder);
