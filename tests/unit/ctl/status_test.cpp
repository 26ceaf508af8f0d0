// What the kernel's and iptables' listings mean.
#include "ctl/status.h"

#include <gtest/gtest.h>

#include "ctl/daemon_process.h"
#include "ctl/queue_owner.h"
#include "ctl/rule_count.h"
#include "tests/unit/ctl/blocked_requests.h"

namespace {

TEST(QueueOwner, ReadsTheKernelsListOfQueues) {
    const auto queues = ParseBoundQueues(
        "65535 4294963128     7 2 65535     2     3   999999  1\n"
        "    5  31448\n");
    ASSERT_EQ(queues.size(), 1u);
    EXPECT_EQ(queues[0].nPortId, 4294963128u);
    EXPECT_EQ(queues[0].nWaiting, 7u);
    EXPECT_EQ(queues[0].nQueueDropped, 2u);
    EXPECT_EQ(queues[0].nSocketDropped, 3u);
}

TEST(QueueOwner, FindsTheNetfilterSocketOfAPort) {
    constexpr char SOCKETS[] =
        "sk               Eth Pid        Groups   Rmem     Wmem     Dump  Locks    Drops    Inode\n"
        "000000003f806241 0   31447      00000000 0        0        0     2        0        4\n"
        "000000003b8b6fea 12  31447      00000000 0        0        0     2        0        58121\n"
        "00000000aaaaaaaa 12  4294963128 00000000 0        0        0     2        0        58122\n";
    EXPECT_EQ(FindNetlinkInode(SOCKETS, 31447), 58121u);
    EXPECT_EQ(FindNetlinkInode(SOCKETS, 4294963128), 58122u);
    EXPECT_EQ(FindNetlinkInode(SOCKETS, 1), std::nullopt);
}

TEST(RuleCount, CountsTheRulesOfThisQueueAlone) {
    constexpr char RULES[] =
        "-A POSTROUTING -p tcp -m u32 --u32 \"0x4&0x1fff=0x0\" -j NFQUEUE --queue-num 1\n"
        "-A POSTROUTING -p udp -j NFQUEUE --queue-num 10\n"
        "-A POSTROUTING -j MARK --set-xmark 0x1/0xffffffff\n";
    EXPECT_EQ(CountQueueRules(RULES, 1), 1u);
    EXPECT_EQ(CountQueueRules(RULES, 10), 1u);
    EXPECT_EQ(CountQueueRules(RULES, 0), 0u);
    EXPECT_TRUE(HasJump("-A OUTPUT -p tcp -j WEBSEC_LIVE\n", "WEBSEC_LIVE"));
    EXPECT_FALSE(HasJump("-A OUTPUT -p tcp -j WEBSEC_LIVE_START\n-N WEBSEC_LIVE\n", "WEBSEC_LIVE"));
    EXPECT_EQ(RulesOf("-A WEBSEC_LIVE -j A\n-A WEBSEC -j B\n", "WEBSEC"), "-A WEBSEC -j B\n");
    EXPECT_FALSE(HasChain("-P OUTPUT ACCEPT\n-N WEBSEC_LIVE\n", "WEBSEC"));
}

TEST(RuleCount, FollowsTheWayOfWhatThisHostSends) {
    const struct {
        const char* szRules;
        bool bReached, bPastAccept;
    } rows[] = {
        {"-A POSTROUTING -p tcp -j WEBSEC\n", true, true},
        {"-A OUTPUT -p tcp -g MINE\n-A MINE -o eth0 -j WEBSEC\n", true, true},
        {"-A DEAD -p tcp -j WEBSEC\n-A INPUT -j WEBSEC\n", false, false},
        {"-A POSTROUTING -p tcp -j WEBSEC_LIVE\n", false, false},
        {"-A POSTROUTING -d 192.0.2.1/32 -j ACCEPT\n-A POSTROUTING -p tcp -j WEBSEC\n", true, true},
        {"-A POSTROUTING -p tcp -j ACCEPT\n-A POSTROUTING -p tcp -j WEBSEC\n", false, true},
    };
    for (const auto& row : rows) {
        const std::string table = std::string("-P OUTPUT ACCEPT\n-N WEBSEC\n") + row.szRules;
        EXPECT_EQ(IsReached(table, "WEBSEC", false), row.bReached) << row.szRules;
        EXPECT_EQ(IsReached(table, "WEBSEC", true), row.bPastAccept) << row.szRules;
    }
    EXPECT_TRUE(IsReached("-P OUTPUT ACCEPT\n", "OUTPUT", false));
}

TEST(ProcessStatus, ReadsSignalsAndCapabilities) {
    const auto status = ParseProcessStatus(
        "Name:\twebsec\nState:\tT "
        "(stopped)\nPPid:\t17\nThreads:\t9\nSigPnd:\t0000000000000000\nShdPnd:\t0000000000000001\n"
        "SigBlk:\t0000000000004801\nSigCgt:\t0000000000004801\nCapEff:\t000001ffffffffff\n");
    EXPECT_EQ(status.nParent, 17);
    EXPECT_EQ(status.cState, 'T');
    EXPECT_EQ(status.nThreads, 9u);
    EXPECT_EQ(status.nPendingSignals, 1u);
    EXPECT_EQ(status.nBlockedSignals, 0x4801u);
    EXPECT_EQ(status.nCaughtSignals, 0x4801u);
    EXPECT_EQ(status.nCapabilities, 0x1ffffffffffu);
    const auto isBusy = [](const char* szLine) {
        return tagDaemonProcess{1, ParseProcessStatus(szLine), {}}.IsBusy();
    };
    EXPECT_TRUE(isBusy("SigBlk:\t0000000000004801\n"));  // starts, reloads or ends
    EXPECT_TRUE(isBusy("ShdPnd:\t0000000000000100\n"));  // killed
    EXPECT_FALSE(isBusy("SigBlk:\t0000000000000801\nShdPnd:\t0000000000000001\n"));
}

using StatusOfClock = ReportsTest;

TEST_F(StatusOfClock, WarnsOfReportsOfTheFuture) {
    tagStatus status;
    tagHost host{};
    host.switches.emplace();
    Block({"20-Nov-2024 10:00:00", "alice", "a.example/1", 4});
    AddClock(status, host);
    EXPECT_TRUE(status.remarks.empty());
    Block({"20-Nov-2099 10:00:00", "alice", "a.example/2", 4});
    AddClock(status, host);
    ASSERT_EQ(status.remarks.size(), 1u);
    EXPECT_NE(status.remarks[0].text.find("2099-11-20"), std::string::npos);
}

}  // namespace
