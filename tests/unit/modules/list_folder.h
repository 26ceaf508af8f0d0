// Lists in a folder of their own, named by WEBSEC_LISTS while the test runs.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <initializer_list>
#include <string>
#include <utility>

#include "modules/urlmap/list_files.h"
#include "modules/urlmap/url_map_builder.h"
#include "tests/unit/common/temp_folder.h"

class ListFolderTest : public testing::Test {
  protected:
    void SetUp() override { setenv("WEBSEC_LISTS", m_folder.Path().c_str(), 1); }
    void TearDown() override { unsetenv("WEBSEC_LISTS"); }

    static uint64_t KeyOf(const char* szURL) {
        tagCanonicalURL url;
        EXPECT_EQ(CanonicaliseURL(szURL, &url), CANONICAL_OK) << szURL;
        return URLKey(url.szText);
    }

    using Threats = std::initializer_list<std::pair<const char*, std::string>>;
    void WriteThreats(const char* szList, Threats threats) {
        tagURLMapBuilder builder;
        ASSERT_EQ(StartURLMap(&builder, URLMAP_THREATS), URLMAP_OK);
        for (const auto& [szURL, name] : threats)
            EXPECT_EQ(AddThreat(&builder, KeyOf(szURL), name), URLMAP_OK);
        EXPECT_EQ(WriteURLMap(&builder, m_folder.Path(szList).c_str()), URLMAP_OK);
        FreeURLMapBuilder(&builder);
    }

    // Leaves the counts of the build in m_builder, whose memory is gone then.
    void WriteCategories(std::initializer_list<std::pair<const char*, uint16_t>> categories) {
        ASSERT_EQ(StartURLMap(&m_builder, URLMAP_CATEGORIES), URLMAP_OK);
        for (const auto& [szURL, nCategory] : categories)
            EXPECT_EQ(AddCategory(&m_builder, KeyOf(szURL), nCategory), URLMAP_OK);
        EXPECT_EQ(WriteURLMap(&m_builder, m_folder.Path(CATEGORY_LIST).c_str()), URLMAP_OK);
        tagURLMapBuilder used = m_builder;
        FreeURLMapBuilder(&used);
    }

    TempFolder m_folder;
    tagURLMapBuilder m_builder = {};
};
