#include "policy/data_file_lists.h"

#include <string>

#include "gtest/gtest.h"
#include "policy/policy_state.h"
#include "tests/support/data_file_writer.h"
#include "tests/support/memory_file.h"

namespace {

TEST(DataFileListsTest, EveryLoadReplacesTheTables) {
    const MemoryFile exclusions(MakeDataFile(PatternBody({"a.example"})));
    const MemoryFile trusted(MakeDataFile(PatternBody({"b.example", "c.example"})));
    const MemoryFile ranges(MakeDataFile(BytesOf(uint16_t{1}) + std::string(8, '\1')));
    const MemoryFile damaged("not a data file");

    LoadTables({exclusions.Path().c_str(), ranges.Path().c_str(), trusted.Path().c_str()});
    ASSERT_EQ(g_ExclusionPatterns.nCount, 1u);
    EXPECT_STREQ(g_ExclusionPatterns.pPatterns[0], "a.example");
    ASSERT_EQ(g_TrustedURLPatterns.nCount, 2u);
    EXPECT_STREQ(g_TrustedURLPatterns.pPatterns[1], "c.example");
    ASSERT_EQ(g_ExcludedRanges.nCount, 1);

    LoadTables({damaged.Path().c_str(), "/nonexistent", exclusions.Path().c_str()});
    EXPECT_EQ(g_ExclusionPatterns.nCount, 0u);
    EXPECT_EQ(g_ExcludedRanges.pRanges, nullptr);
    EXPECT_EQ(g_TrustedURLPatterns.nCount, 1u);

    FreeDataFileLists();
    FreeDataFileLists();
    EXPECT_EQ(g_TrustedURLPatterns.nCount, 0u);
}

}  // namespace
