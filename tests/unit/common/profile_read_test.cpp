#include "common/profile.h"
#include "tests/unit/common/temp_folder.h"

namespace {

using namespace std::string_literals;

constexpr char DEFAULT_TEXT[] = "default";
constexpr int DEFAULT_NUMBER = -99;

struct tagReading {
    int nResult;
    unsigned int nError;
    std::string text;
};

tagReading ReadText(const std::string& path, const char* szSection, const char* szKey) {
    tagReading reading = {77, 77, ""};
    char szOut[2048] = "untouched";
    reading.nResult = GetPrivateProfileString(szSection, szKey, DEFAULT_TEXT, szOut, sizeof(szOut),
                                              path.c_str(), &reading.nError);
    reading.text = szOut;
    return reading;
}

TEST(ProfileRead, FindsTexts) {
    struct tagRow {
        std::string file;
        const char* szSection;
        const char* szKey;
        unsigned int nError;
        std::string text;  // on success
        const char* szReason;
    };
    const std::string piece(1023, 'x');
    const tagRow rows[] = {
        {"[A]\nk=v\n", "A", "k", 0, "v", "plain"},
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
        {"[A]\n" + piece + "\nk=1\n", "A", "k", 0, "1", "a newline that is a piece of its own"},
        {"[A]\nk=" + piece + "\n", "A", "k", 0, piece.substr(2), "a value is cut where its piece ends"},
        {"[A]\n\0k=1\nk=2\n"s, "A", "k", 0, "2", "a NUL is a character like any other"},
        {"[A]\nk=1\0002\n"s, "A", "k", 0, "1", "but the text ends there"},
        {"\xFF\xFE\0[\0\n[A]\nk=\xE9\n"s, "A", "k", 0, "\xE9", "rubbish before"},
    };
    const TempFolder folder;
    for (const tagRow& row : rows) {
        SCOPED_TRACE(row.szReason);
        const tagReading reading = ReadText(folder.Put("cfg", row.file), row.szSection, row.szKey);
        EXPECT_EQ(reading.nError, row.nError);
        EXPECT_EQ(reading.nResult, row.nError == 0 ? 0 : -1);
        EXPECT_EQ(reading.text, row.nError == 0 ? row.text : DEFAULT_TEXT);
        EXPECT_EQ(folder.Get("cfg"), row.file);
    }
    EXPECT_EQ(ReadText(folder.Path("missing"), "A", "k").nError, 102U);
    EXPECT_EQ(ReadText(folder.Path(), "A", "k").nError, 204U);  // a folder opens and has no lines
}

TEST(ProfileRead, FindsNumbers) {
    struct tagRow {
        const char* szValue;
        unsigned int nError;
        int nNumber;
    };
    const tagRow rows[] = {
        {"= 2 ", 0, 2},
        {"=-5", 0, -5},
        {"=+7", 0, 7},
        {"=0x10", 0, 0},
        {"=5 ; note", 0, 5},
        {"=none", 0, 0},
        {"=- 5", 0, 0},
        {"=007", 0, 7},
        {"=", 201, 0},
        {"=  ", 201, 0},
        {"=2147483647", 0, 2147483647},
        {"=4294967297", 0, 1},
        {"", 201, 0},
    };
    const TempFolder folder;
    for (const tagRow& row : rows) {
        SCOPED_TRACE(row.szValue);
        const std::string path =
            folder.Put("cfg", "[ServiceConfigurations]\ncatEngine"s + row.szValue + "\n");
        unsigned int nError = 77;
        const int nNumber =
            GetPrivateProfileInt("serviceconfigurations", "CATENGINE", DEFAULT_NUMBER, path.c_str(), &nError);
        EXPECT_EQ(nError, row.nError);
        EXPECT_EQ(nNumber, row.nError == 0 ? row.nNumber : DEFAULT_NUMBER);
    }
}

TEST(ProfileRead, BoundsArgumentsAndResults) {
    const TempFolder folder;
    const std::string name(256, 'n');
    const std::string path = folder.Put("cfg", "[" + name + "]\n" + name + "=abcdef\n");
    EXPECT_EQ(ReadText(path, (name + "more").c_str(), (name + "more").c_str()).text, "abcdef");
    EXPECT_EQ(ReadText(path, name.substr(1).c_str(), name.c_str()).nError, 204U);

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
    EXPECT_EQ(GetPrivateProfileInt(nullptr, "k", 5, "f", &nError), -1);
    EXPECT_EQ(GetPrivateProfileInt("s", nullptr, 5, "f", &nError), -1);
    EXPECT_EQ(GetPrivateProfileInt("s", "k", 5, nullptr, &nError), -1);
    EXPECT_EQ(GetPrivateProfileInt("s", "k", 5, "f", nullptr), -1);
    EXPECT_EQ(GetPrivateProfileString(nullptr, "k", "d", szOut, 9, "f", &nError), -1);
    EXPECT_EQ(GetPrivateProfileString("s", nullptr, "d", szOut, 9, "f", &nError), -1);
    EXPECT_EQ(GetPrivateProfileString("s", "k", nullptr, szOut, 9, "f", &nError), -1);
    EXPECT_EQ(GetPrivateProfileString("s", "k", "d", nullptr, 9, "f", &nError), -1);
    EXPECT_EQ(GetPrivateProfileString("s", "k", "d", szOut, 9, nullptr, &nError), -1);
    EXPECT_EQ(GetPrivateProfileString("s", "k", "d", szOut, 9, "f", nullptr), -1);
    EXPECT_STREQ(szOut, "untouched");
    EXPECT_EQ(nError, 77U);
}

}  // namespace
