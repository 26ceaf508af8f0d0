#include <gtest/gtest.h>

#include <string>

#include "common/narrow_string.h"
#include "common/text_convert.h"
#include "common/wide_string.h"

namespace {

TEST(WideString, Compares) {
    const struct {
        const char16_t *a, *b;
        int nExact, nFolded;
        const char* szReason;
    } rows[] = {
        {u"\xFF80", u"a", 1, 1, "units are unsigned"},
        {u"ab", u"abc", -1, -1, "the shorter is less"},
        {u"HOST", u"host", -1, 0, "letters fold"},
        {u"@[", u"`{", -1, 0, "more than letters folds"},
        {u"a ", u"a", 1, 1, "a blank folds to 0 and yet is no end"},
        {nullptr, u"a", 1, 1, "null"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szReason);
        EXPECT_EQ(my_wcscmp(row.a, row.b), row.nExact);
        EXPECT_EQ(my_wcsncmp(row.a, row.b, 100), row.nExact);
        EXPECT_EQ(my_wcsicmp(row.a, row.b), row.nFolded);
        EXPECT_EQ(my_wcsnicmp(row.a, row.b, 100), row.nFolded);
    }
    EXPECT_EQ(my_wcsncmp(u"abX", u"abY", 2), 0);
    EXPECT_EQ(my_wcsnicmp(u"ABx", u"abY", 2), 0);
    EXPECT_EQ(my_wcsnicmp(u"ABx", u"abY", 3), -1);
    EXPECT_EQ(my_wcscscmp(u"caf\xFFE9", "caf\xE9"), 0);
    EXPECT_EQ(my_wcscscmp(u"caf\xE9", "caf\xE9"), -1);
    EXPECT_EQ(my_wmemcmp(u"a\0b", u"a\0c", 3), -1);
    EXPECT_EQ(my_wmemcmp(u"a\0b", u"a\0c", 2), 0);
}

TEST(WideString, Searches) {
    const char16_t* text = u"bab";
    EXPECT_EQ(my_wcsstr(text, u"a"), text + 1);
    EXPECT_EQ(my_wcsstr(text, u""), text);
    EXPECT_EQ(my_wcsstr(text, u"babb"), nullptr);
    const char16_t* again = u"aab";  // a false start must not hide the real one
    EXPECT_EQ(my_wcsstr(again, u"ab"), again + 1);
    EXPECT_TRUE(my_wcschr(text, u'b') == text && my_wcsrchr(text, u'b') == text + 2);
    EXPECT_FALSE(my_wcschr(text, u'x') || my_wcsrchr(text, u'x'));
    EXPECT_FALSE(my_wcschr(text, u'\0') || my_wcsrchr(text, u'\0'));
    EXPECT_EQ(my_wmemchr(text, u'\0', 4), text + 3);
    EXPECT_EQ(my_wmemchr(text, u'a', 1), nullptr);
    EXPECT_EQ(my_wcslen(text), 3U);
}

TEST(WideString, WritesNoMoreThanPromised) {
    using namespace std::string_literals;
    const struct {
        std::u16string before;
        void (*Write)(char16_t* p);
        std::u16string after;
    } rows[] = {
        {u"", [](char16_t* p) { my_wcsncpy(p, u"abcdef", 3); }, u"abc\0####"s},
        {u"", [](char16_t* p) { my_wcsncpy(p, u"ab", 9); }, u"ab\0#####"s},
        {u"x", [](char16_t* p) { my_wcsncpy(p, u"ab", 0); }, u"\0\0######"s},
        {u"", [](char16_t* p) { my_wcscpy(p, u"abc"); }, u"abc\0####"s},
        {u"ab", [](char16_t* p) { my_wcscat(p, u"cd"); }, u"abcd\0###"s},
        {u"ab", [](char16_t* p) { my_wcsncat(p, u"cdef", 2); }, u"abcd\0###"s},
        {u"ab", [](char16_t* p) { my_wmemset(p, u'z', 2); }, u"zz\0#####"s},
        {u"abcd", [](char16_t* p) { my_wmemmove(p + 1, p, 3); }, u"aabc\0###"s},
        {u"abcd", [](char16_t* p) { my_wmemmove(p, p + 1, 3); }, u"bcdd\0###"s},
        {u"abcd", [](char16_t* p) { my_wmemcpy(p, u"x\0", 2); }, u"x\0cd\0###"s},
    };
    for (const auto& row : rows) {
        std::u16string buffer(row.after.size(), u'#');
        my_wmemcpy(buffer.data(), row.before.c_str(), static_cast<unsigned int>(row.before.size()) + 1);
        row.Write(buffer.data());
        EXPECT_EQ(buffer, row.after) << &row - rows;
    }
}

TEST(WideString, ChangesInPlace) {
    char16_t text[] = u"aZ[`\xE9\x161";
    EXPECT_EQ(std::u16string(my_wcsupr(text)), u"AZ[`\xE9\x161");
    EXPECT_EQ(std::u16string(my_wcslwr(text)), u"az[`\xE9\x161");
    EXPECT_EQ(std::u16string(my_wcsrev(text)), u"\x161\xE9`[za");
    EXPECT_EQ(std::u16string(my_wcsnset(text, u'-', 2)), u"--`[za");
    EXPECT_EQ(std::u16string(my_wcsset(text, u'+')), u"++++++");
    EXPECT_EQ(std::u16string(my_wcsnset(text, u'.', 99)), u"......");
}

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

TEST(TextConvert, WidensBytesAsSignedValues) {
    char16_t wide[16] = u"<<<<<<<<<<<<";
    EXPECT_EQ(CopySZToWSZ(wide, "a\x7F\x80\xE9"), wide);
    EXPECT_EQ(std::u16string(wide), u"a\x7F\xFF80\xFFE9");
    EXPECT_EQ(wide[5], u'<');
    EXPECT_EQ(CatSZToWSZ(wide, "\xFFz"), wide);
    EXPECT_EQ(std::u16string(wide), u"a\x7F\xFF80\xFFE9\xFFFFz");
}

TEST(TextConvert, NarrowsToLowBytes) {
    char text[16] = "<<<<<<<<<<<<";
    EXPECT_EQ(CopyWSZToSZ(text, u"a\x20AC\xFFE9"), text);
    EXPECT_STREQ(text, "a\xAC\xE9");
    EXPECT_EQ(text[4], '<');
    EXPECT_EQ(CatWSZToSZ(text, u"b\x0100z"), text);
    EXPECT_EQ(std::string(text, 7), std::string({'a', '\xAC', '\xE9', 'b', '\0', 'z', '\0'}));
}

}  // namespace
