#include <vector>

#include "common/profile.h"
#include "tests/unit/common/temp_folder.h"

namespace {

TEST(ProfileLine, Trims) {
    char text[] = " \t a b \v\f\r\n";
    EXPECT_STREQ(Trim(text), "a b");
    char blank[] = " \n ";
    EXPECT_STREQ(Trim(blank), "");
    EXPECT_EQ(Trim(nullptr), nullptr);
}

TEST(ProfileLine, CutsSectionNames) {
    const std::vector<std::pair<std::string, const char*>> rows = {
        {"[ two words ] ; note", "two words"},
        {"[ \t]", ""},
        {"[]", ""},
        {"[a]b]", "a"},
        {"[[a]", "[a"},
        {"[open", nullptr},
        {"[", nullptr},
        {"no header]", nullptr},
        {"", nullptr},
    };
    for (const auto& [line, szName] : rows) {
        std::string copy = line;
        EXPECT_STREQ(GetSectionName(copy.data()), szName) << line;
    }
    EXPECT_EQ(GetSectionName(nullptr), nullptr);
}

TEST(ProfileLine, ComparesKeys) {
    char line[] = "Key \t= a = b";
    EXPECT_EQ(CompareKey(line, "kEY"), 0);
    EXPECT_STREQ(line, "Key \t");
    EXPECT_EQ(CompareKey(line, "key"), 0);
    EXPECT_EQ(CompareKey(line, "keys"), -1);
    char other[] = "k[y=1";
    EXPECT_EQ(CompareKey(other, "k{y"), -1);  // only letters have case here
    EXPECT_STREQ(other, "k[y");               // cut all the same
    EXPECT_EQ(CompareKey(nullptr, "key"), -1);
    EXPECT_EQ(CompareKey(line, nullptr), -1);
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
