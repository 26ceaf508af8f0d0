#include "intercept/rule_watchdog.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>

#include "intercept/thread_life.h"
#include "tests/support/recording_popen.h"

namespace {
using recording_popen::AnswerWith;
using recording_popen::tagAnswer;
using recording_popen::TakeCommands;

TEST(RuleWatchdog, IsStoppedAtAnyMoment) {
    for (int nDelay = 0; nDelay < 40; ++nDelay) {
        AnswerWith([](const std::string&) { return tagAnswer{"1\n", 0}; });
        ASSERT_EQ(StartRuleWatchdog(), 0);
        usleep(static_cast<useconds_t>(nDelay) * 500);  // before, in and behind the first pass
        StopRuleWatchdog();
        EXPECT_EQ(GetThreadLife(g_RuleWatchdog.nLife), THREAD_NONE);
    }
    StopRuleWatchdog();
    AnswerWith({});
}

TEST(RuleWatchdog, FirstPassRunsAtOnceAndExcludesOtherRuleWork) {
    static std::atomic<bool> s_bOtherWork{false}, s_bMet{false};
    AnswerWith([](const std::string&) {
        if (s_bOtherWork) s_bMet = true;
        return tagAnswer{"1\n", 0};
    });
    LockRuleWork();  // nothing to take yet
    UnlockRuleWork();
    ASSERT_EQ(StartRuleWatchdog(), 0);
    LockRuleWork();
    s_bOtherWork = true;
    usleep(20000);
    s_bOtherWork = false;
    UnlockRuleWork();
    while (TakeCommands().empty())
        usleep(1000);
    StopRuleWatchdog();
    EXPECT_FALSE(s_bMet);
    AnswerWith({});
}
}  // namespace
