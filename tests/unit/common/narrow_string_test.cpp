#include "common/narrow_string.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(NarrowString, ComparesWithoutCase) {
    EXPECT_EQ(my_stricmp("HoSt@", "hOsT`"), 0);
    EXPECT_EQ(my_stricmp("a\xE9", "az"), 1);  // bytes are unsigned
    EXPECT_EQ(my_stricmp("a", "a "), -1);     // a blank folds to 0 and yet is no end
    EXPECT_EQ(my_strnicmp("ab1", "AB2", 2), 0);
    EXPECT_EQ(my_strnicmp("ab1", "AB2", 3), -1);
    EXPECT_TRUE(my_stricmp(nullptr, "a") == 1 && my_strnicmp("a", nullptr, 0) == 1);
}

TEST(NarrowString, ChangesInPlace) {
    char text[] = "aZ[`\xE9";
    EXPECT_STREQ(My_StrUpr(text), "AZ[`\xE9");
    EXPECT_STREQ(My_StrLwr(text), "az[`\xE9");
    EXPECT_STREQ(my_strupr(text), "AZ[`\xE9");
    EXPECT_STREQ(my_strrev(text), "\xE9`[ZA");
    EXPECT_EQ(my_strlen(text), 5U);
    EXPECT_EQ(my_strstr(text, "ZA"), text + 3);
    char bytes[] = {'a', '\0', 'b', '\xE9', 'c'};
    EXPECT_EQ(strUpr(bytes, 4), 1);
    EXPECT_EQ(std::string(bytes, sizeof(bytes)), std::string({'A', '\0', 'B', '\xE9', 'c'}));
}

TEST(NarrowString, Trims) {
    const struct {
        const char *szText, *szRight, *szLeft;
    } rows[] = {
        {" \t a b \v\f\r\n", " \t a b", "a b \v\f\r\n"},
        {"ab", "ab", "ab"},
        {" \n ", "", ""},
        {"\xA0", "\xA0", "\xA0"},  // not white space in any locale
    };
    for (const auto& row : rows) {
        std::string right = row.szText;
        EXPECT_STREQ(TrimRight(right.data()), row.szRight);
        std::string left = row.szText;
        EXPECT_STREQ(TrimLeft(left.data()), row.szLeft);
    }
}

}  // namespace
