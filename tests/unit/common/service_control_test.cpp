#include "common/service_control.h"

#include <sched.h>
#include <sys/mount.h>

#include "tests/unit/common/temp_folder.h"

namespace {

constexpr int NO_RIGHTS = 77;

// Runs the actions with the folder in the place of /etc/init.d, in a mount namespace of their own.
template <class Function>
int RunWithScripts(const TempFolder& folder, Function function) {
    return RunInChild([&] {
        if (unshare(CLONE_NEWNS) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return NO_RIGHTS;
        if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return NO_RIGHTS;
        if (mount(folder.Path().c_str(), "/etc/init.d", nullptr, MS_BIND, nullptr) != 0) return NO_RIGHTS;
        return function();
    });
}

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
    const int nResult = RunWithScripts(folder, [] {
        unsigned int nError = 99;
        for (const int nAction : {SERVICE_START, SERVICE_RESTART, SERVICE_STOP, SERVICE_STATUS}) {
            if (HandleService("plain", nAction, &nError) != 1 || nError != 0) return 1;
        }
        if (HandleService("both", SERVICE_START, &nError) != 1) return 2;
        if (HandleService("plain", 5, &nError) != 0 || nError != SERVICE_BAD_ACTION) return 3;
        if (HandleService("absent", 5, &nError) != 0 || nError != SERVICE_NO_SCRIPT) return 4;
        return 0;
    });
    if (nResult == NO_RIGHTS) GTEST_SKIP() << "no right to mount over /etc/init.d, or no such folder";
    EXPECT_EQ(nResult, 0);
    EXPECT_EQ(folder.Get("log"), "plain start\nplain restart\nplain stop\nplain status\nrc.d/both start\n");
}

TEST(ServiceControl, RefusesBadArguments) {
    unsigned int nError = 0;
    EXPECT_EQ(HandleService(nullptr, SERVICE_START, &nError), 0);
    EXPECT_EQ(nError, SERVICE_NO_SCRIPT);
    EXPECT_EQ(HandleService("websec", SERVICE_START, nullptr), 0);
    EXPECT_EQ(HandleService(std::string(5000, 'x').c_str(), SERVICE_START, &nError), 0);
    EXPECT_EQ(nError, SERVICE_NO_SCRIPT);
}

}  // namespace
