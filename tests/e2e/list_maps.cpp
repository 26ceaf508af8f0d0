#include "tests/e2e/list_maps.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "modules/urlmap/list_files.h"
#include "modules/urlmap/url_expressions.h"
#include "modules/urlmap/url_map_builder.h"

namespace {
uint64_t KeyOf(const char* szURL) {
    tagCanonicalURL url;
    EXPECT_EQ(CanonicaliseURL(szURL, &url), CANONICAL_OK) << szURL;
    return URLKey(url.szText);
}

void PutInPlace(tagURLMapBuilder& builder, const char* szList) {
    std::filesystem::create_directories(LISTS_DIR);
    EXPECT_EQ(WriteURLMap(&builder, (std::string(LISTS_DIR) + "/" + szList).c_str()), URLMAP_OK);
    FreeURLMapBuilder(&builder);
}
}  // namespace

void WriteThreatList(const char* szList, std::initializer_list<std::pair<const char*, const char*>> threats) {
    tagURLMapBuilder builder;
    ASSERT_EQ(StartURLMap(&builder, URLMAP_THREATS), URLMAP_OK);
    for (const auto& [szURL, szName] : threats)
        EXPECT_EQ(AddThreat(&builder, KeyOf(szURL), szName), URLMAP_OK);
    PutInPlace(builder, szList);
}

void WriteCategoryList(std::initializer_list<std::pair<const char*, uint16_t>> categories) {
    tagURLMapBuilder builder;
    ASSERT_EQ(StartURLMap(&builder, URLMAP_CATEGORIES), URLMAP_OK);
    for (const auto& [szURL, nCategory] : categories)
        EXPECT_EQ(AddCategory(&builder, KeyOf(szURL), nCategory), URLMAP_OK);
    PutInPlace(builder, CATEGORY_LIST);
}
