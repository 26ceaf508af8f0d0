// What the daemon offers to the plug-ins in its process.
#include <gtest/gtest.h>

#include <string>

#include "tests/e2e/daemon.h"
#include "tests/e2e/lab.h"

class PlugIn : public LabTest {};

// The plain names of the map, each of them and no other, and one class; a sanitizer adds its own.
TEST_F(PlugIn, SeesTheNamesOfTheMap) {
#ifdef WEBSEC_SANITIZED
    GTEST_SKIP() << "a sanitizer exports its own names";
#endif
    const std::string offered =
        std::string("nm -D --defined-only ") + DAEMON + " | awk '{print $3}' | LC_ALL=C sort";
    const std::string listed = MustRun("sed '1,/global:/d; /local:/,$d; /extern/d; s/#.*//' " EXPORTS_MAP_FILE
                                       " | grep -o '[[:alnum:]_]*' | LC_ALL=C sort");
    EXPECT_EQ(MustRun(offered + " | grep -v ^_ZN8CKVCrc32"), listed);
    EXPECT_EQ(CountText(listed, "\n"), 71u) << "none was taken away from the map";
    EXPECT_GE(CountText(MustRun(offered), "_ZN8CKVCrc32"), 8u);
}
