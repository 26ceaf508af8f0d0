// The list in force, made of all that was imported into it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ctl/import/source_store.h"

// Writes the names of the kind's sources to a map at path, which is replaced whole or not at all. Where two
// threats' lists hold a name, the first of them (by name) says what it is called; categories add up. A source
// that is missing or damaged is left out with a warning. Returns the number of names; without a source there
// is no file then. Throws CtlError.
uint32_t MergeSources(const tagListKind& kind, const std::vector<tagSource>& sources,
                      const std::string& path);

// The words for why a map could not be built or written (URLMAP_*; errno for URLMAP_SYSTEM).
std::string MapFailureText(int nResult);
