#include "common/files.h"

#include <sys/stat.h>

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
}

TEST(Files, DeletesACopyThatBroke) {
    const TempFolder folder;
    // A folder opens for reading and then cannot be read.
    EXPECT_EQ(KVCopyFile("/", folder.Path("kept").c_str()), 0);
    EXPECT_EQ(IsValidPath(folder.Path("kept").c_str()), 1);
    // No room. Only the copy that stays, or the device would be deleted.
    EXPECT_EQ(KVCopyFile(folder.Put("from", "bytes").c_str(), "/dev/full"), 0);
    EXPECT_EQ(CopyFile("/", folder.Path("gone").c_str()), 0);
    EXPECT_EQ(IsValidPath(folder.Path("gone").c_str()), 0);
    EXPECT_EQ(IsValidPath(nullptr), 0);
}

}  // namespace
