// The different texts of a map that is being built, each kept once under a number. One thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "modules/urlmap/url_map.h"

struct tagTextTable {
    char* pBytes;  // all texts, one after the other (malloc)
    uint32_t nRoom;
    uint32_t nTexts;
    uint32_t nOffsets[URLMAP_TEXTS_MAX + 1];  // of the texts; the one behind the last is the length of all
    uint32_t nSlots[2 * URLMAP_TEXTS_MAX];    // hash table: a text's number + 1, or 0
};

// An empty table, or null without memory.
tagTextTable* MakeTextTable();
void FreeTextTable(tagTextTable* pTable);  // null is fine

// The number of a text, which is added when it is new. URLMAP_OK, URLMAP_NO_MEMORY or URLMAP_TOO_MANY.
int NumberOfText(tagTextTable* pTable, std::string_view text, uint16_t* pNumber);
