// Gathers imported names for a mapped list.
#pragma once

#include <cstdint>
#include <string>

#include "ctl/import/read_lists.h"
#include "ctl/import/source_store.h"
#include "modules/urlmap/url_map_builder.h"

class MapTaker : public NameTaker {
  public:
    // For the source's kind and category. Names that come without a threat's get the source's name.
    explicit MapTaker(const tagSource& source);
    ~MapTaker() override;
    MapTaker(const MapTaker&) = delete;
    MapTaker& operator=(const MapTaker&) = delete;

    const char* Enter(const std::string& folder) override;
    const char* Take(const tagLineItem& item, const tagCanonicalURL& url) override;

    tagURLMapBuilder& Builder() { return m_builder; }
    // What the administrator should know of names that were taken; lines, or empty.
    std::string Notes() const;

  private:
    int Add(const tagLineItem& item, uint64_t nKey);

    const tagSource& m_source;
    tagURLMapBuilder m_builder;
    uint16_t m_nCategory;
    std::string m_folder;
    uint64_t m_nUnseenPaths = 0;
};
