// The mapped lists of URLs that the product looks things up in, where it looks for them.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <utility>

// Puts a new list of threats in the place of the old one: PHISHING_LIST or HARMFUL_LIST of
// modules/urlmap/list_files.h, with a threat's name for each URL.
void WriteThreatList(const char* szList, std::initializer_list<std::pair<const char*, const char*>> threats);

// The same for the list of categories, by real id.
void WriteCategoryList(std::initializer_list<std::pair<const char*, uint16_t>> categories);
