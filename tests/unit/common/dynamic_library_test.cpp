#include "common/dynamic_library.h"

#include <sched.h>

#include <cstring>

#include "tests/unit/common/temp_folder.h"

namespace {

TEST(DynamicLibrary, LoadsAndFindsSymbols) {
    void* pLibrary = KVLoadLibrary("libm.so.6");
    ASSERT_NE(pLibrary, nullptr) << szErrMsg;
    const auto power = reinterpret_cast<double (*)(double, double)>(KVGetProcAddress(pLibrary, "pow"));
    ASSERT_NE(power, nullptr);
    EXPECT_EQ(power(2, 10), 1024);
    EXPECT_EQ(KVGetProcAddress(pLibrary, "no_such_symbol"), nullptr);
    EXPECT_EQ(KVGetProcAddress(pLibrary, nullptr), nullptr);
    EXPECT_EQ(KVGetProcAddress(nullptr, "pow"), nullptr);
    KVFreeLibrary(pLibrary);
    KVFreeLibrary(nullptr);
}

// The log has a fixed place, so the failures happen where the root is a folder of ours.
TEST(DynamicLibrary, LogsFailures) {
    const TempFolder folder;
    const std::string longName(3000, 'x');
    const int nResult = RunInChild([&] {
        if (chroot(folder.Path().c_str()) != 0 &&
            (unshare(CLONE_NEWUSER) != 0 || chroot(folder.Path().c_str()) != 0)) {
            return 77;
        }
        const bool bRefused = !KVLoadLibrary(nullptr) && szErrMsg[0] == '\0' && !KVLoadLibrary("/absent.so");
        const bool bNamed = std::strstr(szErrMsg, "/absent.so") != nullptr;
        return bRefused && bNamed && !KVLoadLibrary(longName.c_str()) && std::strlen(szErrMsg) == 2047 ? 0
                                                                                                       : 1;
    });
    if (nResult == 77) GTEST_SKIP() << "no right to change the root folder";
    EXPECT_EQ(nResult, 0);
    const std::string log = folder.Get("kvcommon.log");
    EXPECT_EQ(log.find("KVLoadLibrary: Invalid parameters\n"
                       "In KVLoadLibrary(): dlopen Error!!!/absent.so: "),
              0U)
        << log;
}

}  // namespace
