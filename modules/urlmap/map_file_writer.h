// The last step of building a map: its names, sorted and each standing once, become a file. One thread.
#pragma once

#include <cstdint>
#include <span>

#include "modules/urlmap/text_table.h"

struct tagBuilderName {
    uint64_t nKey;
    uint32_t nOrder;  // in which it was added
    uint16_t nValue;  // a text's number; before the merge of a map of categories a category
};
static_assert(sizeof(tagBuilderName) == 16);

// Writes a temporary file in the folder of szPath, synchronises it and renames it to szPath (mode 0644).
// URLMAP_OK, or URLMAP_SYSTEM (errno): szPath is as it was and no temporary file is left.
int WriteMapFile(const char* szPath, uint32_t nKind, std::span<const tagBuilderName> names,
                 const tagTextTable& texts);
