#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>

#include <cstring>

#include "common/dynamic_library.h"
#include "common/service_control.h"
#include "common/system_time.h"
#include "tests/unit/common/temp_folder.h"

namespace {

constexpr int NO_RIGHTS = 77;

void PutScript(const TempFolder& folder, const std::string& name) {
    const std::string path =
        folder.Put(name, "#!/bin/sh\necho " + name + " $1 >>/etc/init.d/log\necho noise\nexit 3\n");
    std::filesystem::permissions(path, std::filesystem::perms{0755});
}

TEST(ServiceControl, RunsTheScript) {
    const TempFolder folder;
    std::filesystem::create_directory(folder.Path("rc.d"));
    PutScript(folder, "plain");
    PutScript(folder, "both");
    PutScript(folder, "rc.d/both");
    // With the folder in the place of /etc/init.d, in a mount namespace of its own.
    const int nResult = RunInChild([&] {
        if (unshare(CLONE_NEWNS) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return NO_RIGHTS;
        if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return NO_RIGHTS;
        if (mount(folder.Path().c_str(), "/etc/init.d", nullptr, MS_BIND, nullptr) != 0) return NO_RIGHTS;
        unsigned int nError = 99;
        for (const int nAction : {SERVICE_START, SERVICE_RESTART, SERVICE_STOP, SERVICE_STATUS}) {
            if (HandleService("plain", nAction, &nError) != 1 || nError != 0) return 1;
        }
        if (HandleService("both", SERVICE_START, &nError) != 1) return 2;
        if (HandleService("plain", 5, &nError) != 0 || nError != SERVICE_BAD_ACTION) return 3;
        for (const std::string& name : {std::string("absent"), std::string(5000, 'x')})
            if (HandleService(name.c_str(), 5, &nError) != 0 || nError != SERVICE_NO_SCRIPT) return 4;
        if (HandleService(nullptr, SERVICE_START, &nError) != 0 || nError != SERVICE_NO_SCRIPT) return 5;
        return HandleService("plain", SERVICE_START, nullptr);
    });
    if (nResult == NO_RIGHTS) GTEST_SKIP() << "no right to mount over /etc/init.d, or no such folder";
    EXPECT_EQ(nResult, 0);
    EXPECT_EQ(folder.Get("log"), "plain start\nplain restart\nplain stop\nplain status\nrc.d/both start\n");
}

// The log has a fixed place, so the failures happen where the root is a folder of ours.
TEST(DynamicLibrary, LogsFailures) {
    const TempFolder folder;
    const std::string longName(3000, 'x');
    const int nResult = RunInChild([&] {
        if (chroot(folder.Path().c_str()) != 0 &&
            (unshare(CLONE_NEWUSER) != 0 || chroot(folder.Path().c_str()) != 0)) {
            return NO_RIGHTS;
        }
        const bool bRefused = !KVLoadLibrary(nullptr) && szErrMsg[0] == '\0' && !KVLoadLibrary("/absent.so");
        const bool bNamed = std::strstr(szErrMsg, "/absent.so") != nullptr;
        return bRefused && bNamed && !KVLoadLibrary(longName.c_str()) && std::strlen(szErrMsg) == 2047 ? 0
                                                                                                       : 1;
    });
    if (nResult == NO_RIGHTS) GTEST_SKIP() << "no right to change the root folder";
    EXPECT_EQ(nResult, 0);
    const std::string log = folder.Get("kvcommon.log");
    EXPECT_EQ(log.find("KVLoadLibrary: Invalid parameters\n"
                       "In KVLoadLibrary(): dlopen Error!!!/absent.so: "),
              0U)
        << log;
}

TEST(SystemTime, ConvertsThereAndBack) {
    struct tm calendar = {};
    ASSERT_NE(strptime("2024-03-05 23:59:58", "%F %T", &calendar), nullptr);
    calendar.tm_yday = 77;
    tagSYSTEMTIME time;
    std::memset(&time, 0xFF, sizeof(time));
    EXPECT_EQ(TmToSystemTime(&calendar, &time), &time);
    const tagSYSTEMTIME expected = {2024, 3, 2, 5, 23, 59, 58, 0};
    EXPECT_EQ(std::memcmp(&time, &expected, sizeof(time)), 0);

    struct tm back = {};
    back.tm_yday = 77;
    back.tm_isdst = -1;
    EXPECT_EQ(SystemTimeToTm(&time, &back), &back);
    calendar.tm_isdst = -1;  // what a system time does not tell stays
    EXPECT_EQ(std::memcmp(&back, &calendar, sizeof(back)), 0);
}

}  // namespace
