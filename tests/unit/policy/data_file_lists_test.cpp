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
    const std::string exclusionPath = exclusions.Path();
    const std::string trustedPath = trusted.Path();
    const std::string rangePath = ranges.Path();
    const std::string damagedPath = damaged.Path();

    LoadTables({exclusionPath.c_str(), rangePath.c_str(), trustedPath.c_str()});
    ASSERT_EQ(g_ExclusionPatterns.nCount, 1u);
    EXPECT_STREQ(g_ExclusionPatterns.pPatterns[0], "a.example");
    ASSERT_EQ(g_TrustedURLPatterns.nCount, 2u);
    EXPECT_STREQ(g_TrustedURLPatterns.pPatterns[1], "c.example");
    ASSERT_EQ(g_ExcludedRanges.nCount, 1);
    EXPECT_EQ(g_ExcludedRanges.pRanges[0].nBase, 0x01010101u);

    LoadTables({damagedPath.c_str(), "/nonexistent", exclusionPath.c_str()});
    EXPECT_EQ(g_ExclusionPatterns.nCount, 0u);
    EXPECT_EQ(g_ExcludedRanges.pRanges, nullptr);
    EXPECT_EQ(g_TrustedURLPatterns.nCount, 1u);

    FreeDataFileLists();
    FreeDataFileLists();
    EXPECT_EQ(g_TrustedURLPatterns.nCount, 0u);
    EXPECT_EQ(g_TrustedURLPatterns.pPatterns, nullptr);
}

}  // namespace
