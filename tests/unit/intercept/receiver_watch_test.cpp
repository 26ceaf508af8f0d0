// With LiveTraffic 1 the receiver judges for itself: what happens when that takes long after all.
#include "intercept/receiver_watch.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <linux/netfilter.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <thread>

#include "common/monotonic_ms.h"
#include "common/traffic_counters.h"
#include "intercept/judging_cost.h"
#include "intercept/store_progress.h"
#include "policy/policy_switches.h"
#include "policy/url_scanner.h"
#include "tests/support/channel_fixture.h"

namespace {
using fake_kernel::NextVerdict;

std::atomic<bool> s_bHeld{false};
std::atomic<tagWorkerThread*> s_pHolder{nullptr};

int ScanHeld(const char* szURL) {
    if (std::strstr(szURL, "slow")) usleep(6'000);
    if (!std::strstr(szURL, "held")) return 0;
    s_pHolder = CurrentWorker();
    while (s_bHeld)
        usleep(1000);
    return 0;
}

uint64_t UnjudgedOnes() {
    return g_pTrafficCounters->counts[COUNT_UNJUDGED_STORE_FULL];
}

template <typename Condition>
bool Await(Condition condition) {
    for (int i = 0; i < 30000 && !condition(); ++i)
        usleep(1000);
    return condition();
}

void SetCost(uint64_t nNanoseconds) {
    for (int i = 0; i < 200; ++i)
        NoteJudgingCost(nNanoseconds);
}

class ReceiverWatch : public ChannelTest {
  protected:
    void SetUp() override {
        g_bLiveTraffic = 1;
        g_bPhishingProtection = 1;
        g_bURLScannerLoaded = 1;
        g_pfnScanURLForAPSH = ScanHeld;
        ChannelTest::SetUp();
        StartAll();
    }
    void TearDown() override {
        s_bHeld = false;
        ASSERT_TRUE(PauseWorkers());  // until nothing is judged
        ResumeWorkers();
        ChannelTest::TearDown();
        g_pfnScanURLForAPSH = nullptr;
        g_bURLScannerLoaded = g_bPhishingProtection = 0;
    }
    // A request that stays in the receiver's hands until it is let go: once a worker has come to watch, a
    // quick packet is judged where it is received.
    void HoldTheReceiver() {
        for (int i = 0; i < 100; ++i) {
            usleep(20'000);
            SetCost(1);
            s_bHeld = true;
            s_pHolder = nullptr;
            DeliverRequest(1, "held.example");
            ASSERT_TRUE(Await([] { return s_pHolder != nullptr; }));
            if (s_pHolder == &g_ReceiverAsWorker) return;
            s_bHeld = false;
            ASSERT_TRUE(NextVerdict());
        }
        FAIL() << "the receiver judges nothing";
    }
};

TEST_F(ReceiverWatch, AReloadWaitsForTheReceiverAsForAWorkerAndStopsNoOther) {
    HoldTheReceiver();
    std::atomic<bool> bPaused{false};
    std::thread reload([&] {
        bPaused = PauseWorkers();
        ResumeWorkers();
    });
    usleep(20'000);
    for (uint32_t nId = 2; nId <= 20; ++nId)
        DeliverRequest(nId);
    for (uint32_t nId = 2; nId <= 20; ++nId)
        EXPECT_TRUE(NextVerdict()) << "answer " << nId;
    EXPECT_FALSE(bPaused);
    s_bHeld = false;
    reload.join();
    ExpectVerdict(1, NF_ACCEPT);
}

// The watcher is called away to a packet that takes long while the receiver begins with another such. The
// moment is short, so there are many rounds, which start differently.
TEST_F(ReceiverWatch, TwoPacketsThatTakeLongHoldUpNoThird) {
    for (int nRound = 0; nRound < 150; ++nRound) {
        SetCost(1'000'000);  // to the workers
        for (uint32_t nId = 1; nId <= 8; ++nId)
            DeliverRequest(nId);
        for (uint32_t nId = 1; nId <= 8; ++nId)
            ASSERT_TRUE(NextVerdict());
        usleep(static_cast<useconds_t>(nRound * 2));
        SetCost(1'000'000);
        s_bHeld = true;
        DeliverRequest(10, "held.example");
        SetCost(1);  // to the receiver
        DeliverRequest(11, "held.example");
        usleep(static_cast<useconds_t>(nRound));
        DeliverRequest(12);
        const auto verdict = NextVerdict();
        s_bHeld = false;
        ASSERT_TRUE(verdict) << "round " << nRound;
        EXPECT_EQ(verdict->nPacketId, 12u);
        EXPECT_TRUE(NextVerdict());
        EXPECT_TRUE(NextVerdict());
    }
}

// The worker that stood in for the first held packet has to come again for the second, wherever the moment of
// its return falls.
TEST_F(ReceiverWatch, APacketThatTakesLongKeepsNoVerdictBackThatWasGathered) {
    for (int nRound = 0; nRound < 40; ++nRound) {
        HoldTheReceiver();
        usleep(5 * RECEIVER_WATCH_MS * 1000);
        s_bHeld = false;
        ASSERT_TRUE(NextVerdict());
        usleep(1'000);
        s_bHeld = true;
        DeliverRequest(2);
        DeliverRequest(3, "held.example");
        const auto verdict = NextVerdict();
        s_bHeld = false;
        ASSERT_TRUE(verdict) << "round " << nRound;
        EXPECT_EQ(verdict->nPacketId, 2u);
        ASSERT_TRUE(NextVerdict());
    }
}

// Each of them always has the next packet at hand.
TEST_F(ReceiverWatch, BusyWorkersLetAReloadIn) {
    SetCost(1'000'000);
    std::atomic<bool> bEnd{false};
    std::thread load([&] {
        for (uint32_t nId = 1; !bEnd; ++nId) {
            DeliverRequest(nId, "slow.example");
            if (nId > 100) (void)NextVerdict();
        }
        while (NextVerdict(100)) {
        }
    });
    usleep(200'000);
    for (int nReload = 0; nReload < 3; ++nReload) {
        EXPECT_TRUE(PauseWorkers());
        ResumeWorkers();
        usleep(50'000);
    }
    bEnd = true;
    load.join();
}

TEST_F(ReceiverWatch, WhenAllHangTheRestPassesUntilOneReturns) {
    HoldTheReceiver();
    for (uint32_t nId = 2; nId <= 4; ++nId)  // the fourth worker receives
        DeliverRequest(nId, "held.example");
    const uint64_t nBefore = UnjudgedOnes();
    const int64_t nBegin = MonotonicMs();
    uint32_t nSent = 4;
    while (UnjudgedOnes() == nBefore && nSent < 100) {
        DeliverRequest(++nSent);
        usleep(100'000);
    }
    EXPECT_GT(MonotonicMs() - nBegin, WORKERS_STOPPED_MS) << "a module may take its time";
    for (uint32_t nId = 5; nId <= nSent; ++nId) {
        ExpectVerdict(nId, NF_ACCEPT);
    }
    s_bHeld = false;
    for (int nAnswer = 0; nAnswer < 4; ++nAnswer)
        EXPECT_TRUE(NextVerdict());
    EXPECT_EQ(UnjudgedOnes() - nBefore, nSent - 4);
    SetCost(1'000'000);  // to the workers
    EXPECT_TRUE(Await([] {
        const uint64_t nPassed = UnjudgedOnes();
        DeliverRequest(200);
        return NextVerdict() && UnjudgedOnes() == nPassed;
    })) << "judged again";
}

// What a daemon that was stopped finds afterwards is judged.
TEST(StoreProgress, CountsOnlyTheTimeBetweenMessages) {
    tagPacketStore& store = g_PacketStore;
    PacketStoreInit(store);
    NoteWorkerTakes();
    EXPECT_FALSE(HaveWorkersStopped(store, 1'000));
    (void)PacketStorePush(store, tagPacketSlot{});
    EXPECT_FALSE(HaveWorkersStopped(store, 100'000));
    EXPECT_FALSE(HaveWorkersStopped(store, 200'000));
    EXPECT_FALSE(HaveWorkersStopped(store, 201'000));
    EXPECT_TRUE(HaveWorkersStopped(store, 201'001));
    NoteWorkerTakes();
    EXPECT_FALSE(HaveWorkersStopped(store, 300'000));
    PacketStoreInit(store);
}

TEST(JudgingCost, FollowsWhatMostPacketsTake) {
    const struct {
        const char* szReason;
        int nQuickOfTen;
        bool bQuick;
    } cases[] = {{"all are quick", 10, true},
                 {"one in ten was interrupted", 9, true},
                 {"every second one waits for somebody", 5, false},
                 {"all wait", 0, false},
                 {"and it is over", 10, true}};
    for (const auto& c : cases) {
        for (int i = 0; i < 1000; ++i)
            NoteJudgingCost(i % 10 < c.nQuickOfTen ? 3'000 : 2'000'000);
        EXPECT_EQ(IsJudgingQuick(), c.bQuick) << c.szReason;
    }
}
}  // namespace
