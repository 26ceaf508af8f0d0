// Writes the mapped lists of URLs where the product looks for them: in the folder that WEBSEC_LISTS names,
// else in that of the installed product. And looks URLs up in them.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "modules/urlmap/list_files.h"
#include "modules/urlmap/url_expressions.h"
#include "modules/urlmap/url_map.h"
#include "modules/urlmap/url_map_builder.h"

inline uint64_t ListKeyOf(const char* szURL) {
    tagCanonicalURL url;
    EXPECT_EQ(CanonicaliseURL(szURL, &url), CANONICAL_OK) << szURL;
    return URLKey(url.szText);
}

// Leaves the counts in the builder, whose memory is gone then.
inline void WriteListFile(tagURLMapBuilder& builder, const char* szList) {
    char szPath[LIST_PATH_BYTES];
    ListFilePath(szPath, szList);
    std::filesystem::create_directories(std::filesystem::path(szPath).parent_path());
    EXPECT_EQ(WriteURLMap(&builder, szPath), URLMAP_OK);
    tagURLMapBuilder used = builder;
    FreeURLMapBuilder(&used);
}

// PHISHING_LIST or HARMFUL_LIST, with a threat's name for each URL.
inline void WriteThreatList(const char* szList,
                            std::initializer_list<std::pair<const char*, std::string>> threats) {
    tagURLMapBuilder builder;
    ASSERT_EQ(StartURLMap(&builder, URLMAP_THREATS), URLMAP_OK);
    for (const auto& [szURL, name] : threats)
        EXPECT_EQ(AddThreat(&builder, ListKeyOf(szURL), name), URLMAP_OK);
    WriteListFile(builder, szList);
}

// Categories by real id. Gives the builder back for its counts.
inline tagURLMapBuilder WriteCategoryList(
    std::initializer_list<std::pair<const char*, uint16_t>> categories) {
    tagURLMapBuilder builder;
    EXPECT_EQ(StartURLMap(&builder, URLMAP_CATEGORIES), URLMAP_OK);
    for (const auto& [szURL, nCategory] : categories)
        EXPECT_EQ(AddCategory(&builder, ListKeyOf(szURL), nCategory), URLMAP_OK);
    WriteListFile(builder, CATEGORY_LIST);
    return builder;
}

// The threat's name, or "none".
inline std::string ThreatIn(const tagURLMap& map, const char* szURL) {
    tagURLKeys keys;
    MakeURLKeys(szURL, &keys);
    const int32_t nText = FindURLKeys(map, keys);
    return nText < 0 ? "none" : std::string(URLMapText(map, static_cast<uint32_t>(nText)));
}

inline std::vector<uint16_t> CategoriesIn(const tagURLMap& map, const char* szURL) {
    tagURLKeys keys;
    MakeURLKeys(szURL, &keys);
    uint16_t categories[URLMAP_CATEGORIES_MAX];
    return {categories, categories + FindURLCategories(map, keys, categories)};
}
