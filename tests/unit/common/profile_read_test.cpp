#include <vector>

#include "common/profile.h"
#include "tests/unit/common/temp_folder.h"

namespace {

using namespace std::string_literals;

constexpr char DEFAULT_TEXT[] = "default";
constexpr int DEFAULT_NUMBER = -99;

// The code, and what stands in the buffer afterwards.
std::pair<unsigned int, std::string> ReadText(const std::string& path, const char* szSection,
                                              const char* szKey) {
    unsigned int nError = 77;
    char szOut[2048] = "untouched";
    const int nResult =
        GetPrivateProfileString(szSection, szKey, DEFAULT_TEXT, szOut, sizeof(szOut), path.c_str(), &nError);
    EXPECT_EQ(nResult, nError == 0 ? 0 : -1);
    return {nError, szOut};
}

TEST(ProfileRead, FindsTexts) {
    const std::string piece(1023, 'x');
    const struct {
        std::string file;
        const char *szSection, *szKey;
        unsigned int nError;
        std::string text;  // on success
        const char* szReason;
    } rows[] = {
        {"\t[ a ] note\r\n  K  =  two words \r\n", " A ", " k ", 0, "two words", "blanks and case"},
        {"[A]\nk=v", "A", "k", 0, "v", "no newline at the end"},
        {"[A]\nk=1\nk=2\n", "A", "k", 0, "1", "the first line of a key"},
        {"[A]\nx=1\n[A]\nk=2\n", "A", "k", 202, "", "the first section of a name"},
        {"k=0\n[B]\nk=1\n[A]\nk=2\n", "A", "k", 0, "2", "neither before a header nor in another section"},
        {"[A]\n#k=1\n;k=2\nk=3\n", "A", "k", 0, "3", "comments"},
        {"#[A]\nk=1\n", "A", "k", 204, "", "a header in a comment"},
        {"[A\n[A]\nk=1\n", "A", "k", 0, "1", "a header that never closes is passed over"},
        {"[A]\n[\nk=1\n", "A", "k", 202, "", "but it ends a section"},
        {"[A]\nk=a=b;c\n", "A", "k", 0, "a=b;c", "the first = counts"},
        {"[A]\nk=\n", "A", "k", 0, "", "empty value"},
        {"[A]\nk\nk=1\n", "A", "k", 201, "", "key without ="},
        {"[A]\nkk=1\n", "A", "k", 202, "", "no such key"},
        {"[B]\nk=1\n", "A", "k", 204, "", "no such section"},
        {"", "A", "k", 204, "", "empty file"},
        {"[A]\nk=1\n", "", "k", 205, "", "empty section name"},
        {"[A]\nk=1\n", "A", "", 203, "", "empty key"},
        {"[A]\nk=1\n[ ]\nk=2\n", "  ", "k", 0, "2", "blanks stand for an empty section name"},
        {"[A]\n = 5\n", "A", " ", 0, "5", "and for an empty key"},
        {"[A]\n" + piece + "k=1\n", "A", "k", 0, "1", "the second piece of a long line"},
        {"[A]\nk=" + piece + "\n", "A", "k", 0, piece.substr(2), "a value is cut where its piece ends"},
        {"[A]\n\0k=1\nk=2\n"s, "A", "k", 0, "2", "a NUL is a character like any other"},
        {"[A]\nk=1\0002\n"s, "A", "k", 0, "1", "but the text ends there"},
        {"\xFF\xFE\0[\0\n[A]\nk=\xE9\n"s, "A", "k", 0, "\xE9", "rubbish before"},
    };
    const TempFolder folder;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szReason);
        const auto [nError, text] = ReadText(folder.Put("cfg", row.file), row.szSection, row.szKey);
        EXPECT_EQ(nError, row.nError);
        EXPECT_EQ(text, row.nError == 0 ? row.text : DEFAULT_TEXT);
        EXPECT_EQ(folder.Get("cfg"), row.file);
    }
    EXPECT_EQ(ReadText(folder.Path("missing"), "A", "k").first, 102U);
    EXPECT_EQ(ReadText(folder.Path(), "A", "k").first, 204U);  // a folder opens and has no lines
}

TEST(ProfileRead, FindsNumbers) {
    const std::vector<std::pair<std::string, int>> rows = {
        {" 2 ", 2},        {"-5", -5},           {"+7", 7},
        {"0x10", 0},       {"5 ; note", 5},      {"none", 0},
        {"- 5", 0},        {"007", 7},           {"2147483647", 2147483647},
        {"4294967297", 1}, {"", DEFAULT_NUMBER}, {" \t", DEFAULT_NUMBER},
    };
    const TempFolder folder;
    for (const auto& [value, nExpected] : rows) {
        const std::string path = folder.Put("cfg", "[ServiceConfigurations]\ncatEngine=" + value + "\n");
        unsigned int nError = 77;
        const int nNumber =
            GetPrivateProfileInt("serviceconfigurations", "CATENGINE", DEFAULT_NUMBER, path.c_str(), &nError);
        EXPECT_EQ(nNumber, nExpected) << value;
        EXPECT_EQ(nError, nExpected == DEFAULT_NUMBER ? 201U : 0U) << value;
    }
}

TEST(ProfileRead, BoundsArgumentsAndResults) {
    const TempFolder folder;
    const std::string name(256, 'n');
    const std::string path = folder.Put("cfg", "[" + name + "]\n" + name + "=abcdef\n");
    EXPECT_EQ(ReadText(path, (name + "more").c_str(), (name + "more").c_str()).second, "abcdef");
    EXPECT_EQ(ReadText(path, name.substr(1).c_str(), name.c_str()).first, 204U);

    char szOut[8] = "#######";
    unsigned int nError = 0;
    EXPECT_EQ(GetPrivateProfileString(name.c_str(), name.c_str(), "", szOut, 4, path.c_str(), &nError), 0);
    EXPECT_EQ(std::string(szOut, 8), "abc\0###\0"s);
    EXPECT_EQ(GetPrivateProfileString(name.c_str(), name.c_str(), "", szOut, 0, path.c_str(), &nError), 0);
    EXPECT_EQ(GetPrivateProfileString("no", "no", "longer", szOut, 5, path.c_str(), &nError), -1);
    EXPECT_STREQ(szOut, "long");
    EXPECT_EQ(GetPrivateProfileString("no", "no", szOut, szOut, 3, path.c_str(), &nError), -1);
    EXPECT_STREQ(szOut, "lo");
}

TEST(ProfileRead, RefusesNull) {
    char szOut[] = "untouched";
    unsigned int nError = 77;
    for (int nNull = 0; nNull < 6; ++nNull) {
        const auto unless = [nNull](int nArgument, auto* p) { return nArgument == nNull ? nullptr : p; };
        EXPECT_EQ(GetPrivateProfileString(unless(0, "s"), unless(1, "k"), unless(2, "d"), unless(3, szOut), 9,
                                          unless(4, "f"), unless(5, &nError)),
                  -1);
        if (nNull == 2 || nNull == 3) continue;
        EXPECT_EQ(GetPrivateProfileInt(unless(0, "s"), unless(1, "k"), 5, unless(4, "f"), unless(5, &nError)),
                  -1);
    }
    EXPECT_STREQ(szOut, "untouched");
    EXPECT_EQ(nError, 77U);
}

}  // namespace
