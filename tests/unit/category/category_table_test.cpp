#include "category/category_table.h"

#include <gtest/gtest.h>

#include "category/category_names.h"

namespace {

// A name that stood twice, or an alias that hides behind a name, would make a list another category's.
TEST(CategoryTable, EveryNameFindsItsOwnRow) {
    for (const tagCategory& category : CATEGORY_TABLE) {
        EXPECT_EQ(FindCategory(category.szName), category.nId) << category.szName;
    }
    for (const tagCategoryAlias& alias : CATEGORY_ALIASES) {
        EXPECT_LT(alias.nId, CATEGORY_COUNT) << alias.szListName;
        EXPECT_EQ(FindCategory(alias.szListName), alias.nId) << alias.szListName;
    }
}

TEST(CategoryTable, NamesAreFoundHoweverTheyAreWritten) {
    const struct {
        const char* szName;
        int nId;
    } cases[] = {
        {"job_search", 37},
        {"PEER TO PEER", 26},
        {"Advertisements & Pop-Ups", 76},
        {"social-networks", 12},
        {"Adult", 22},
        {"gambling/", 51},
        {"", NO_CATEGORY},
        {"&", NO_CATEGORY},
        {"gamblin", NO_CATEGORY},
        {"gambling2", NO_CATEGORY},
        {"gambl\xEFng", NO_CATEGORY},
    };
    for (const auto& c : cases)
        EXPECT_EQ(FindCategory(c.szName), c.nId) << c.szName;
}

TEST(CategoryTable, NumbersMapBothWays) {
    EXPECT_EQ(RealToLogical(76), 76);
    EXPECT_EQ(RealToLogical(77), CATEGORY_UNKNOWN);
    EXPECT_EQ(RealToLogical(65535), CATEGORY_UNKNOWN);
    for (const tagCategory& category : CATEGORY_TABLE)
        EXPECT_EQ(LibraryIdToReal(RealToLibraryId(category.nId)), category.nId);
    for (const uint16_t nNone : {0, 2, 3, 99, 177, 356, 65535})
        EXPECT_EQ(LibraryIdToReal(nNone), NO_CATEGORY) << nNone;
}

TEST(CategoryTable, FillsTheRowsOfTheNameTable) {
    for (size_t i = 0; i < CATEGORY_NAME_ROWS; ++i) {
        EXPECT_EQ(CategoryNameTable[i].nId, i < CATEGORY_COUNT ? i : 0);
        EXPECT_EQ(CategoryNameTable[i].szName, i < CATEGORY_COUNT ? CATEGORY_TABLE[i].szName : "");
    }
}

}  // namespace
