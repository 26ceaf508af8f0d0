#include "common/files.h"

#include <dlfcn.h>
#include <fnmatch.h>
#include <link.h>
#include <sys/stat.h>

#include <fstream>

#include "common/library_file.h"
#include "common/log_file.h"
#include "common/paths.h"
#include "modules/asapsdk/check_sum.h"
#include "tests/unit/common/temp_folder.h"

namespace {

mode_t ModeOf(const std::string& path) {
    struct stat about = {};
    return stat(path.c_str(), &about) == 0 ? about.st_mode & 07777 : 0;
}

TEST(Files, CopiesWholeFiles) {
    const TempFolder folder;
    const std::string to = folder.Path("to");
    for (const size_t nBytes : {0, 1024, 1025, 5000}) {
        std::string bytes(nBytes, 'x');
        if (nBytes != 0) bytes.back() = '\0';
        const std::string from = folder.Put("from", bytes);
        EXPECT_EQ(KVCopyFile(from.c_str(), to.c_str()), 1);
        EXPECT_EQ(folder.Get("to"), bytes);
    }
    EXPECT_EQ(ModeOf(to), 0600U);
    folder.Put("from", "short");  // over a longer file
    EXPECT_EQ(CopyFile(folder.Path("from").c_str(), to.c_str()), 1);
    EXPECT_EQ(folder.Get("to"), "short");
    EXPECT_EQ(ModeOf(to), 0777U);
}

TEST(Files, ReportsFailedCopies) {
    const TempFolder folder;
    const std::string from = folder.Put("from", "bytes");
    const std::string to = folder.Put("to", "old");
    for (const auto copy : {KVCopyFile, CopyFile}) {
        EXPECT_EQ(copy("/nonexistent", to.c_str()), 0);
        EXPECT_EQ(copy(from.c_str(), "/nonexistent/to"), 0);
        EXPECT_FALSE(copy(nullptr, to.c_str()) || copy(from.c_str(), nullptr));
        EXPECT_EQ(folder.Get("to"), "old");
    }
    // A folder opens for reading and then cannot be read.
    EXPECT_EQ(KVCopyFile("/", folder.Path("kept").c_str()), 0);
    EXPECT_EQ(IsValidPath(folder.Path("kept").c_str()), 1);
    // No room. Only the copy that stays, or the device would be deleted.
    EXPECT_EQ(KVCopyFile(folder.Put("from", "bytes").c_str(), "/dev/full"), 0);
    EXPECT_EQ(CopyFile("/", folder.Path("gone").c_str()), 0);
    EXPECT_EQ(IsValidPath(folder.Path("gone").c_str()), 0);
    EXPECT_EQ(IsValidPath(nullptr), 0);
}

// What would stop or kill the process in dlopen.
TEST(LibraryFile, IsWholeWithAllItsSegments) {
    const TempFolder folder;
    Dl_info about;
    ASSERT_NE(dladdr(reinterpret_cast<void*>(CalculateCheckSum), &about), 0);
    EXPECT_EQ(IsWholeLibrary(about.dli_fname), 1);
    std::ifstream file(about.dli_fname, std::ios::binary);
    const std::string whole{std::istreambuf_iterator<char>(file), {}};
    std::string endless = whole;
    const uint64_t nFileBytes = UINT64_MAX;  // of the first segment
    endless.replace(sizeof(ElfW(Ehdr)) + offsetof(ElfW(Phdr), p_filesz), sizeof nFileBytes,
                    reinterpret_cast<const char*>(&nFileBytes), sizeof nFileBytes);
    for (const std::string& bytes : {std::string(), whole.substr(0, 100), whole.substr(0, 5000),
                                     std::string(whole.size(), '\0'), endless})
        EXPECT_EQ(IsWholeLibrary(folder.Put("cut.so", bytes).c_str()), 0) << bytes.size();
    ASSERT_EQ(mkfifo(folder.Path("pipe.so").c_str(), 0600), 0);
    for (const char* szName : {"pipe.so", "missing.so", "."})
        EXPECT_EQ(IsWholeLibrary(folder.Path(szName).c_str()), 0) << szName;
}

TEST(LogFile, AppendsLines) {
    const TempFolder folder;
    const std::string log = folder.Path("log");
    WriteToLog(log.c_str(), "first %s");
    WriteToLog(log.c_str(), "");
    WriteToLog(log.c_str(), "last");
    EXPECT_EQ(folder.Get("log"), "first %s\n\nlast\n");
    EXPECT_EQ(ModeOf(log), 0666U);

    WriteToLog(nullptr, "text");
    WriteToLog(log.c_str(), nullptr);
    WriteToLog(folder.Path("no/folder").c_str(), "text");
    EXPECT_EQ(folder.CountFiles(), 1U);
}

TEST(Paths, NamesTheFoldersOfProductAndProgram) {
    const std::string program = std::filesystem::read_symlink("/proc/self/exe");
    const std::string expected = program.substr(0, program.rfind('/') + 1);
    char szFolder[260] = "untouched";
    const bool bExists = std::filesystem::is_directory("/usr/lib/Morvane/Morvane");
    EXPECT_EQ(GetKvPath(szFolder), bExists ? 1 : 0);
    EXPECT_STREQ(szFolder, bExists ? "/usr/lib/Morvane/Morvane/" : "untouched");
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

TEST(Paths, FindsFreeNames) {
    const TempFolder folder;
    const std::string dir = folder.Path();
    const std::string bare = dir.substr(0, dir.size() - 1);  // without "/" at its end
    char szName[64];
    EXPECT_EQ(GetUniqueFileName(dir.c_str(), "rpt", nullptr, szName), 1);
    EXPECT_EQ(fnmatch("rpt[0-9][0-9][0-9][0-9].tmp", szName, 0), 0) << szName;
    EXPECT_EQ(GetUniqueFileName(dir.c_str(), "", "elevenchars", szName), 1);
    EXPECT_EQ(fnmatch("[0-9][0-9][0-9][0-9].tmp", szName, 0), 0) << szName;

    // The same draws again: the name that exists by now is passed over.
    srand(7);
    ASSERT_EQ(GetUniqueFileName(bare.c_str(), "a", "tencharext", szName), 1);
    const std::string first = folder.Put(szName, "");
    srand(7);
    ASSERT_EQ(GetUniqueFileName(bare.c_str(), "a", "tencharext", szName), 1);
    EXPECT_EQ(fnmatch("a[0-9][0-9][0-9][0-9].tencharext", szName, 0), 0) << szName;
    EXPECT_NE(folder.Path(szName), first);
}

}  // namespace
