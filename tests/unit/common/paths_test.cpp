#include "common/paths.h"

#include <regex>

#include "common/files.h"
#include "tests/unit/common/temp_folder.h"

namespace {

TEST(Paths, NamesTheFolderOfTheProgram) {
    const std::string program = std::filesystem::read_symlink("/proc/self/exe");
    const std::string expected = program.substr(0, program.rfind('/') + 1);
    char szFolder[260];
    EXPECT_EQ(GetAppPath(szFolder, sizeof(szFolder)), 1);
    EXPECT_EQ(szFolder, expected);
    EXPECT_EQ(GetModulePath(szFolder), 1);
    EXPECT_EQ(szFolder, expected);

    char szCut[8] = "abcdefg";
    EXPECT_EQ(GetAppPath(szCut, 2), 1);
    EXPECT_STREQ(szCut, "/");
    EXPECT_EQ(szCut[2], 'c');
    EXPECT_FALSE(GetAppPath(szCut, 1) || GetAppPath(szCut, -1) || GetAppPath(nullptr, 8));
}

TEST(Paths, NamesTheProductFolderWhereItExists) {
    char szFolder[64] = "untouched";
    const bool bExists = std::filesystem::is_directory("/usr/lib/Morvane/Morvane");
    EXPECT_EQ(GetKvPath(szFolder), bExists ? 1 : 0);
    EXPECT_STREQ(szFolder, bExists ? "/usr/lib/Morvane/Morvane/" : "untouched");
}

TEST(Paths, FindsFreeNames) {
    const TempFolder folder;
    const std::string dir = folder.Path();
    const std::string bare = dir.substr(0, dir.size() - 1);  // without "/" at its end
    char szName[64];
    EXPECT_EQ(GetUniqueFileName(dir.c_str(), "rpt", nullptr, szName), 1);
    EXPECT_TRUE(std::regex_match(szName, std::regex("rpt[0-9]{4}\\.tmp"))) << szName;
    EXPECT_EQ(GetUniqueFileName(dir.c_str(), "", "elevenchars", szName), 1);
    EXPECT_TRUE(std::regex_match(szName, std::regex("[0-9]{4}\\.tmp"))) << szName;

    // The same draws again: the name that exists by now is passed over.
    srand(7);
    ASSERT_EQ(GetUniqueFileName(bare.c_str(), "a", "tencharext", szName), 1);
    const std::string first = folder.Put(szName, "");
    srand(7);
    ASSERT_EQ(GetUniqueFileName(bare.c_str(), "a", "tencharext", szName), 1);
    EXPECT_TRUE(std::regex_match(szName, std::regex("a[0-9]{4}\\.tencharext"))) << szName;
    EXPECT_NE(folder.Path(szName), first);
}

}  // namespace
