// What was imported into the lists of sites: one row for each named list. Its names stand in a file beside
// the store. For the threads and the result codes see modules/store/store.h.
#pragma once

#include <cstdint>

#include "modules/store/store.h"

// In place of a real category id
constexpr int32_t SOURCE_NO_CATEGORY = -1;      // a list of threats
constexpr int32_t SOURCE_MANY_CATEGORIES = -2;  // each name has its own

struct tagStoredSource {
    int64_t nFile;  // the number in its file's name, above 0; no two have the same
    const char* szKind;
    const char* szName;    // among those of its kind
    int32_t nCategory;     // real category id, or one of the constants above
    const char* szOrigin;  // the files it came from, one a line
    int64_t nImported;     // seconds since 1970
    int64_t nAccepted;     // names that differ
    int64_t nRejected;     // lines that were not taken
    int64_t nDuplicates;   // names that stood there already
};

// Adds a list, in place of one of the same kind and name.
int PutStoredSource(tagStore* pStore, const tagStoredSource* pSource);
// Removes it, or STORE_NOT_FOUND.
int RemoveStoredSource(tagStore* pStore, const char* szKind, const char* szName);

// Called for each list; texts are valid during the call. A result other than 0 ends the walk. It must not use
// the same tagStore.
using StoredSourceFn = int (*)(const tagStoredSource* pSource, void* pContext);
// All lists, by kind and name.
int ForEachStoredSource(tagStore* pStore, StoredSourceFn pfnSource, void* pContext);
