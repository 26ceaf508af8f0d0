#include "common/log_file.h"

#include <sys/stat.h>

#include "tests/unit/common/temp_folder.h"

namespace {

TEST(LogFile, AppendsLines) {
    const TempFolder folder;
    const std::string log = folder.Path("log");
    WriteToLog(log.c_str(), "first %s");
    WriteToLog(log.c_str(), "");
    WriteToLog(log.c_str(), "last");
    EXPECT_EQ(folder.Get("log"), "first %s\n\nlast\n");
    struct stat about = {};
    ASSERT_EQ(stat(log.c_str(), &about), 0);
    EXPECT_EQ(about.st_mode & 07777, 0666U);

    WriteToLog(nullptr, "text");
    WriteToLog(log.c_str(), nullptr);
    WriteToLog(folder.Path("no/folder").c_str(), "text");
    EXPECT_EQ(folder.CountFiles(), 1U);
}

}  // namespace
