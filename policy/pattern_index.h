// What answers for a table of URL patterns without walking it. Its answer is the walk's: the first pattern in
// order that covers the URL (policy/pattern_match.h says when one does).
//
// Made when the table is loaded, freed before it, read by any worker in between.
#pragma once

#include <cstdint>
#include <string_view>

#include "policy/data_file.h"

// Makes the index of a table that has none; with bFold it takes letters in any case. When memory runs out,
// the table goes without and is walked.
void IndexPatterns(tagPatternTable& table, bool bFold);

// Frees the table's index. Safe without one.
void DropPatternIndex(tagPatternTable& table);

// Whether the table has an index made with this bFold.
bool HasPatternIndex(const tagPatternTable& table, bool bFold);

// The number of the first pattern that covers the URL (at most HASHED_TEXT_MAX bytes), or NO_ENTRY. The table
// has an index.
uint32_t FindPattern(const tagPatternTable& table, std::string_view url);
