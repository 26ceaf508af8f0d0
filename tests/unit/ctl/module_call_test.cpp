// A module that hangs ends the command, which names it.
#include "ctl/module_call.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

namespace {

int Hang(int) {
    return raise(SIGALRM);
}
int (*g_pfnHang)(int) = Hang;

TEST(ModuleCall, IsNamedWhenItTakesTooLong) {
    LimitCalls<g_pfnHang>(g_pfnHang, "b.so", "Hang");
    const ModuleCall outer("a.so", "Load", MODULE_LOAD_SECONDS);
    EXPECT_EXIT((void)g_pfnHang(1), testing::ExitedWithCode(1),
                "^websecctl: b.so gives no answer: Hang takes");
    { const ModuleCall inner("b.so", "Quick"); }
    EXPECT_EXIT(raise(SIGALRM), testing::ExitedWithCode(1),
                "a.so gives no answer: Load takes longer than 30 sec");
    EXPECT_GT(alarm(0), MODULE_CALL_SECONDS);
}

}  // namespace
