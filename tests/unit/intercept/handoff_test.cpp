// The receiver, the store and the workers together, as threads, against a stand-in for the kernel.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <linux/netfilter.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "common/monotonic_ms.h"
#include "intercept/thread_life.h"
#include "policy/addr_match.h"
#include "policy/list_entry.h"
#include "policy/policy_state.h"
#include "policy/settings_load.h"
#include "policy/worker_pause_hook.h"
#include "report/report_module.h"
#include "tests/support/channel_fixture.h"
#include "tests/support/packet_composer.h"

namespace {
using fake_kernel::Deliver;
using fake_kernel::NextVerdict;
using fake_kernel::QueueMessage;

class Handoff : public ChannelTest {
  protected:
    void SetUp() override {
        ChannelTest::SetUp();
        receiver.nQueueNum = 7;
    }
    void TearDown() override {
        ChannelTest::TearDown();
        FreePolicyLists();
        g_bCustomBlockList = 0;
    }
};

TEST_F(Handoff, WhatHoldsNoPacketIsNotAnswered) {
    StartAll();
    Deliver(QueueMessage(0, {}));
    Deliver(QueueMessage(0, ComposePacket({.payload = "GET / HTTP/1.1\r\n\r\n"})));
    Deliver(QueueMessage(11, {}));
    ExpectVerdict(11, NF_ACCEPT);  // no payload to judge
    EXPECT_FALSE(NextVerdict(100)) << "nothing else is answered";
}

TEST_F(Handoff, AFullStoreIsAnsweredWithADropAndAPause) {
    // Cancelled in the midst of its pause, it ends at once: one time in five on the busiest machine.
    bool bAtOnce = false;
    for (int nTry = 0; nTry < 5 && !bAtOnce; ++nTry) {
        ASSERT_EQ(StartQueueReceiver(receiver), 0);
        for (uint32_t nId = 1; nId <= 501; ++nId)
            Deliver(QueueMessage(nId, {}));
        ExpectVerdict(501, NF_DROP);
        usleep(50'000);  // sent before the pause
        const int64_t nBegin = MonotonicMs();
        StopQueueReceivers();
        bAtOnce = MonotonicMs() - nBegin < 300;
        EXPECT_EQ(receiver.pSocket, nullptr);
        PacketStoreInit(g_PacketStore);
    }
    EXPECT_TRUE(bAtOnce);
}

TEST_F(Handoff, TheReceiverEndsWithItsChannelOrATooLargeDatagramAndIsStoppedOnce) {
    const auto tooLarge = [] { Deliver(std::vector<uint8_t>(PACKET_SLOT_BYTES + 1)); };
    void (*const ends[])() = {[] { fake_kernel::CloseChannel(); }, tooLarge};
    for (int nRound = 0; nRound < 4; ++nRound) {
        void (*const pfnEnd)() = ends[nRound / 2];
        g_bLiveTraffic = nRound % 2;
        ASSERT_EQ(StartQueueReceiver(receiver), 0);
        pfnEnd();
        AwaitQueueReceivers();
        JoinQueueReceivers();
        EXPECT_EQ(GetThreadLife(receiver.nLife), THREAD_NONE);
        StopQueueReceivers();
        StopQueueReceivers();
    }
}

TEST_F(Handoff, OpeningFailsStepByStep) {
    for (const int nResult : {CHANNEL_NO_SOCKET, CHANNEL_NO_BIND, CHANNEL_NO_CONFIG}) {
        fake_kernel::Reset();
        fake_kernel::FailOpening(nResult);
        EXPECT_EQ(StartQueueReceiver(receiver), nResult);
        EXPECT_EQ(GetThreadLife(receiver.nLife), THREAD_NONE);
        StopQueueReceivers();
    }
}

// The channel must outlive the last verdict: workers may be about to answer when the receivers stop.
TEST_F(Handoff, StoppingInTheMidstOfWork) {
    for (int nRound = 0; nRound < 100; ++nRound) {
        g_bLiveTraffic = nRound % 2;
        StartAll();
        for (uint32_t nId = 1; nId <= 40; ++nId)
            DeliverRequest(nId);
        usleep(static_cast<useconds_t>(nRound) * 20);
        TearDown();
        EXPECT_EQ(receiver.pSocket, nullptr);
        SetUp();
    }
}

// The first FTP request to an address loads the settings on a worker while the others are busy and the main
// thread reloads: nobody may wait for ever, and the load happens once.
TEST_F(Handoff, TheFirstAddressMatchLoadsOnceBesideReloads) {
    static std::atomic<int> s_nLoads{0};
    g_bReportModuleLoaded = 1;
    g_pfnGetClientAllSettingData = [](tagClientSettingData* pSettings, uint32_t*) -> uint8_t {
        ++s_nLoads;
        pSettings->nCustomBlockList = 1;
        return true;
    };
    g_pfnPauseWorkersFromWorker = PauseOtherWorkers;
    g_pfnResumeWorkersFromWorker = ResumeOtherWorkers;
    for (int nRound = 0; nRound < 50; ++nRound) {
        g_bLiveTraffic = nRound % 2;
        s_nLoads = 0;
        LoadPolicySettings();
        g_bFirstFTPAddrMatch = 1;
        StartAll();
        for (uint32_t nId = 1; nId <= 8; ++nId)
            Deliver(QueueMessage(nId, ComposePacket({.nDstPort = 21, .payload = "RETR file.zip\r\n"})));
        for (int nReload = 0; nReload < 5; ++nReload) {
            ASSERT_TRUE(PauseWorkers());
            LoadPolicySettings();
            ResumeWorkers();
        }
        for (int nAnswer = 0; nAnswer < 8; ++nAnswer)
            ASSERT_TRUE(NextVerdict());
        EXPECT_EQ(s_nLoads, 1 + 5 + 1) << "round " << nRound;
        StopQueueReceivers();
        StopWorkerThreads();
        fake_kernel::Reset();
        receiver = {};
    }
    g_bReportModuleLoaded = 0;
    g_pfnPauseWorkersFromWorker = g_pfnResumeWorkersFromWorker = nullptr;
}
}  // namespace
