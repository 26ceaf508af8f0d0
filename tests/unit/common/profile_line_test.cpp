#include "common/profile_line.h"

#include "common/profile.h"
#include "tests/unit/common/temp_folder.h"

namespace {

TEST(ProfileLine, Trims) {
    struct tagRow {
        const char* szText;
        const char* szTrimmed;
        ptrdiff_t nStart;
    };
    const tagRow rows[] = {{" \t a b \r\n", "a b", 3}, {"ab", "ab", 0}, {" \n ", "", 0}, {"", "", 0}};
    for (const tagRow& row : rows) {
        std::string text = row.szText;
        char* szTrimmed = Trim(text.data());
        EXPECT_STREQ(szTrimmed, row.szTrimmed);
        EXPECT_EQ(szTrimmed - text.data(), row.nStart);
        EXPECT_EQ(TrimText(row.szText), row.szTrimmed);
    }
    EXPECT_EQ(Trim(nullptr), nullptr);
}

TEST(ProfileLine, CutsSectionNames) {
    struct tagRow {
        const char* szLine;
        const char* szName;
    };
    const tagRow rows[] = {
        {"[Name]", "Name"},
        {"[ two words ] ; note", "two words"},
        {"[]", ""},
        {"[ \t]", ""},
        {"[a]b]", "a"},
        {"[[a]", "[a"},
        {"[open", nullptr},
        {"[", nullptr},
        {"no header]", nullptr},
        {"", nullptr},
    };
    for (const tagRow& row : rows) {
        std::string line = row.szLine;
        EXPECT_STREQ(GetSectionName(line.data()), row.szName) << row.szLine;
    }
    EXPECT_EQ(GetSectionName(nullptr), nullptr);
}

TEST(ProfileLine, ComparesKeys) {
    struct tagRow {
        const char* szLine;
        const char* szKey;
        int nExpected;
        const char* szLeft;
    };
    const tagRow rows[] = {
        {"Key \t= a = b", "kEY", 0, "Key \t"},
        {"key", "key", 0, "key"},
        {"keys=1", "key", -1, "keys"},
        {"ke=1", "key", -1, "ke"},
        {"=1", "", 0, ""},
        {"", "", 0, ""},
        {"k[y=1", "k{y", -1, "k[y"},  // only letters have case here
    };
    for (const tagRow& row : rows) {
        std::string line = row.szLine;
        EXPECT_EQ(CompareKey(line.data(), row.szKey), row.nExpected) << row.szLine;
        EXPECT_STREQ(line.c_str(), row.szLeft);
    }
    char line[] = "key=1";
    EXPECT_EQ(CompareKey(nullptr, "key"), -1);
    EXPECT_EQ(CompareKey(line, nullptr), -1);
    EXPECT_STREQ(line, "key=1");
}

TEST(ProfileLine, WritesLines) {
    const TempFolder folder;
    FILE* pFile = fopen(folder.Path("out").c_str(), "w");
    ASSERT_NE(pFile, nullptr);
    char line[8] = "100% a";  // room for the newline and no more
    WriteToFile(line, pFile);
    WriteToFile(nullptr, pFile);
    WriteToFile(line, nullptr);
    fclose(pFile);
    EXPECT_STREQ(line, "100% a\n");
    EXPECT_EQ(folder.Get("out"), "100% a\n");
}

}  // namespace
