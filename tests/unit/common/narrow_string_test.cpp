#include "common/narrow_string.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(NarrowString, ComparesWithoutCase) {
    struct tagRow {
        const char* a;
        const char* b;
        int nWhole;
        int nFirstTwo;
    };
    const tagRow rows[] = {
        {"HoSt", "hOsT", 0, 0}, {"ab1", "AB2", -1, 0}, {"a\xE9", "az", 1, 1},  // bytes are unsigned
        {"a", "a ", -1, -1},  // a blank folds to 0 and yet is no end
        {"", "", 0, 0},         {nullptr, "a", 1, 1},  {"a", nullptr, 1, 1},
    };
    for (const tagRow& row : rows) {
        SCOPED_TRACE(row.a ? row.a : "null");
        EXPECT_EQ(my_stricmp(row.a, row.b), row.nWhole);
        EXPECT_EQ(my_strnicmp(row.a, row.b, 2), row.nFirstTwo);
    }
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
    EXPECT_EQ(std::string(bytes, sizeof(bytes)), std::string("A\0B\xE9"
                                                             "c",
                                                             5));
}

TEST(NarrowString, Trims) {
    struct tagRow {
        const char* szText;
        const char* szRight;
        const char* szLeft;
    };
    const tagRow rows[] = {
        {" \t a b \v\f\r\n", " \t a b", "a b \v\f\r\n"},
        {"ab", "ab", "ab"},
        {" \n ", "", ""},
        {"", "", ""},
        {"\xA0", "\xA0", "\xA0"},  // not white space in any locale
    };
    for (const tagRow& row : rows) {
        std::string right = row.szText;
        EXPECT_STREQ(TrimRight(right.data()), row.szRight);
        std::string left = row.szText;
        EXPECT_STREQ(TrimLeft(left.data()), row.szLeft);
    }
}

TEST(NarrowString, AnswersNullWithNull) {
    EXPECT_EQ(my_strlen(nullptr), 0U);
    EXPECT_EQ(strUpr(nullptr, 1), 1);
    for (char* result :
         {My_StrLwr(nullptr), My_StrUpr(nullptr), my_strupr(nullptr), my_strrev(nullptr),
          my_strstr(nullptr, "a"), my_strstr("a", nullptr), TrimRight(nullptr), TrimLeft(nullptr)}) {
        EXPECT_EQ(result, nullptr);
    }
}

}  // namespace
