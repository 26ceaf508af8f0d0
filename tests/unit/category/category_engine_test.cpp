#include "category/category_engine.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "category/category_status.h"
#include "tests/support/data_file_writer.h"
#include "tests/support/memory_file.h"
#include "tests/unit/category/webcat_recorder.h"

namespace {

std::string StatusFile(char nStatus) {
    return MakeDataFile(std::string(1, nStatus) + "\1\1\1\1\1");
}

std::string Damaged(std::string file) {
    file.back() ^= 1;
    return file;
}

// What a start calls, and whether the engine is up afterwards.
void ExpectStart(const std::string& szPath, const std::string& szCalls, int nUp, const char* szReason) {
    SCOPED_TRACE(szReason);
    g_Webcat.szCalls.clear();
    EXPECT_EQ(StartCategoryEngineFrom(szPath.c_str()), 0);
    EXPECT_EQ(g_Webcat.szCalls, szCalls);
    EXPECT_EQ(g_bCTFunctionalityMode, nUp);
}

TEST(CategoryEngine, FollowsTheStatus) {
    g_Webcat = {};
    const MemoryFile off(StatusFile(0)), on(StatusFile(1)), other(StatusFile(2)),
        damaged(Damaged(StatusFile(0)));
    ExpectStart(other.Path(), "", 0, "another status does not start it");
    ExpectStart(off.Path(), "", 0, "it is down already");
    ExpectStart("/nonexistent/wscatsts.dat", "WCInit ", 1, "no file counts as on");
    ExpectStart(other.Path(), "", 1, "another status does not stop it");
    ExpectStart(damaged.Path(), "", 1, "what a damaged file says does not count");
    ExpectStart(off.Path(), "WCDeinit ", 0, "shut down by the status");
    g_Webcat.nInitResult = -1;
    ExpectStart(on.Path(), "WCInit ", 0, "a failed start leaves it down");
    g_Webcat.nInitResult = 0;
    ExpectStart(damaged.Path(), "WCInit ", 1, "the next start tries again");
    for (int nTimes = 1; nTimes <= 2; ++nTimes)
        StopCategoryEngine();
    EXPECT_EQ(g_Webcat.szCalls, "WCInit WCDeinit WCDeinit ") << "however it stands";
    EXPECT_EQ(g_bCTFunctionalityMode, 0);
}

TEST(CategoryStatus, IsTheFirstByteOfASoundFile) {
    const std::string sound = StatusFile(1);
    const struct {
        std::string content;
        uint32_t nResult;
        int nStatus;  // 77 was there before
        const char* szReason;
    } cases[] = {
        {StatusFile('\xFF'), 0, 255, "any byte"},
        {MakeDataFile(std::string("\0\1\1\1\1\1more", 10)), 0, 0, "bytes behind the six"},
        {MakeDataFile("\1\1\1\1\1"), EIO, 77, "five bytes"},
        {Damaged(sound), 1, 77, "another checksum"},
    };
    for (const auto& c : cases) {
        const MemoryFile file(c.content);
        uint8_t nStatus = 77;
        EXPECT_EQ(ReadCategoryStatusFrom(file.Path().c_str(), &nStatus), c.nResult) << c.szReason;
        EXPECT_EQ(nStatus, c.nStatus) << c.szReason;
    }
    uint8_t nStatus = 77;
    EXPECT_EQ(ReadCategoryStatusFrom("/nonexistent/wscatsts.dat", &nStatus), uint32_t{ENOENT});
    EXPECT_EQ(nStatus, 77);
    EXPECT_EQ(ReadCategoryStatus(nullptr), 2u);
}

}  // namespace
