// The list in force, made of all that was imported into it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ctl/import/source_store.h"

struct tagMergedList {
    uint32_t nNames;
    uint32_t nCategoriesLost;  // categories of several sources that had no room in their name's set
};

// Writes the names of the kind's sources to a map at path, which is replaced whole or not at all. Where two
// threats' lists hold a name, the first of them (by name) says what it is called; categories add up. A source
// that is missing or damaged is left out with a warning; one that the system does not let be read is a
// failure. Without a source there is no file then. Throws CtlError.
tagMergedList MergeSources(const tagListKind& kind, const std::vector<tagSource>& sources,
                           const std::string& path);

// The words for why a map could not be built or written (URLMAP_*; errno for URLMAP_SYSTEM).
std::string MapFailureText(int nResult);
