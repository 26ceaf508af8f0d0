// Where the imported lists stand. They are data that outlives the product's versions, so they have a place of
// their own beside the database.
#pragma once

#include <cstddef>
#include <cstdint>

#include "modules/urlmap/url_map.h"

inline constexpr char LISTS_DIR[] = "/var/lib/websec/lists";
inline constexpr char PHISHING_LIST[] = "phishing.map";
inline constexpr char HARMFUL_LIST[] = "harmful.map";
inline constexpr char CATEGORY_LIST[] = "categories.map";

constexpr size_t LIST_PATH_BYTES = 512;

// Writes the path of one of the lists: in the folder that the environment variable WEBSEC_LISTS names
// (ignored in set-user-id programs), else in LISTS_DIR. A path that does not fit becomes empty, and so does
// the list. Any thread, while nobody changes the environment.
void ListFilePath(char (&szPath)[LIST_PATH_BYTES], const char* szName);

// Opens one of the lists. *pMap is overwritten; when the list is missing or cannot be used it is the empty
// list, and the result tells why (URLMAP_*). One thread, while no look-up runs.
int OpenListFile(tagURLMap* pMap, const char* szName, uint32_t nKind);
