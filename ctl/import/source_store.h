// What was imported, as the store remembers it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ctl/import/list_kind.h"
#include "ctl/store_connection.h"
#include "modules/store/store_sources.h"

struct tagSource {
    const tagListKind* pKind;
    std::string name;
    int64_t nFile;
    int32_t nCategory;  // SOURCE_NO_CATEGORY and so on
    std::vector<std::string> files;
    int64_t nImported;
    uint64_t nAccepted, nRejected, nDuplicates;
};

class SourceStore : StoreConnection {
  public:
    using StoreConnection::StoreConnection;

    // By kind and name.
    std::vector<tagSource> Sources();
    // In place of one of the same kind and name.
    void Put(const tagSource& source);
    // False when it was not there.
    bool Remove(const tagSource& source);

    // What is put or removed after Begin holds only once Keep was called.
    void Begin();
    void Keep();
    void TakeBack();
};

// "Gambling"; "several" for a source of many categories, empty for one of none.
std::string SourceCategoryText(const tagSource& source);
