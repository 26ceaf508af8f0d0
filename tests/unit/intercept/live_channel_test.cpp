// The channel, the hand-off and the verdicts with LiveTraffic 1, against a stand-in for the kernel.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <linux/netfilter.h>
#include <linux/netfilter/nfnetlink_queue.h>
#include <unistd.h>

#include <cerrno>

#include "common/traffic_counters.h"
#include "intercept/iptables_rules.h"
#include "intercept/live_rules.h"
#include "intercept/stream_marks.h"
#include "tests/support/channel_fixture.h"
#include "tests/support/packet_composer.h"
#include "tests/support/recording_popen.h"

namespace {
using fake_kernel::Deliver;
using fake_kernel::NextVerdict;
using fake_kernel::QueueMessage;

uint64_t Count(uint8_t nCounter) {
    return g_pTrafficCounters->counts[nCounter];
}

class LiveChannel : public ChannelTest {
  protected:
    void SetUp() override {
        g_bLiveTraffic = 1;
        for (auto& nCount : g_pTrafficCounters->counts)
            nCount = 0;
        ChannelTest::SetUp();
    }
};

TEST_F(LiveChannel, ARefusedFlagCostsThatFlagAlone) {
    constexpr uint32_t ALL = NFQA_CFG_F_GSO | NFQA_CFG_F_FAIL_OPEN | NFQA_CFG_F_UID_GID;
    const struct {
        uint32_t nRefused;
        int nErrno;
        size_t nRequests;
    } cases[] = {
        {0, 0, 1}, {NFQA_CFG_F_UID_GID, EOPNOTSUPP, 4}, {NFQA_CFG_F_GSO, EINVAL, 4}, {ALL, EINVAL, 4}};
    for (const auto& c : cases) {
        fake_kernel::Reset();
        fake_kernel::RefuseFlags(c.nRefused, c.nErrno);
        ASSERT_EQ(OpenQueueChannel(receiver), 0);
        EXPECT_EQ(Count(COUNT_CHANNEL_FLAGS), ALL & ~c.nRefused);
        size_t nRequests = 0;
        std::vector<uint8_t> last;
        while (auto sent = fake_kernel::NextSent(0)) {
            nRequests += (*sent)[6] == (NLM_F_REQUEST | NLM_F_ACK);
            last = *sent;
        }
        EXPECT_EQ(nRequests, c.nRequests);
        ASSERT_EQ(last.size(), 32u);
        EXPECT_EQ(last[28], NFQNL_COPY_PACKET) << "packets come only when all is set";
        EXPECT_EQ(last[26] << 8 | last[27], 7936) << "with 256 bytes around them still a receive buffer";
        CloseIdleChannels();
    }
}

TEST_F(LiveChannel, ALostChannelEndsTheReceiverAtOnce) {
    for (const int nErrno : {EPERM, EBUSY, ENODEV}) {
        fake_kernel::Reset();
        ASSERT_EQ(StartQueueReceiver(receiver), 0);
        Deliver(fake_kernel::ErrorMessage(nErrno));
        AwaitQueueReceivers();
        StopQueueReceivers();
    }
    EXPECT_EQ(Count(COUNT_VERDICT_LATE), 0u);
}

TEST_F(LiveChannel, WithoutAFreeSlotThePacketPassesAndTheReceiverGoesOn) {
    ASSERT_EQ(StartQueueReceiver(receiver), 0);
    for (uint32_t nId = 1; nId <= 503; ++nId)
        Deliver(QueueMessage(nId, {}));
    for (uint32_t nId = 501; nId <= 503; ++nId)
        ExpectVerdict(nId, NF_ACCEPT);
    EXPECT_EQ(Count(COUNT_UNJUDGED_STORE_FULL), 3u);
    EXPECT_EQ(Count(COUNT_STORE_DEPTH), 500u);
    ASSERT_EQ(StartAllWorkers(), 0);
    for (int i = 0; i < 500; ++i)
        ASSERT_TRUE(NextVerdict());
    Deliver(QueueMessage(504, {}));
    ExpectVerdict(504, NF_ACCEPT);
    EXPECT_EQ(Count(COUNT_UNJUDGED_STORE_FULL), 3u);
    EXPECT_EQ(Count(COUNT_STORE_DEPTH), 0u);
    EXPECT_EQ(Count(COUNT_STORE_DEPTH_MAX), 500u);
    EXPECT_EQ(Count(COUNT_PACKETS), 504u);
}

TEST_F(LiveChannel, AVerdictChangesTheStreamsMark) {
    ASSERT_EQ(OpenQueueChannel(receiver), 0);
    const auto judge = [this](uint32_t nPacketId, uint8_t nVerdict, uint8_t nStreamMark, uint32_t nMark) {
        tagPacketInfo packet{};
        packet.nPacketId = nPacketId;
        packet.nVerdict = nVerdict;
        packet.nStreamMark = nStreamMark;
        packet.nMark = nMark;
        SendVerdict(receiver, packet);
    };
    const struct {
        const char* szReason;
        uint8_t nVerdict, nStreamMark;
        uint32_t nMark;  // as it came
        uint32_t nSentVerdict, nSentMark;
    } cases[] = {
        {"kept", NF_ACCEPT, STREAM_KEEP, 0x4000, NF_ACCEPT, 0},
        {"released", NF_ACCEPT, STREAM_RELEASE, 0, NF_REPEAT, STREAM_MARK_RELEASE},
        {"watched", NF_ACCEPT, STREAM_WATCH, 0x4000, NF_REPEAT, STREAM_MARK_WATCH | 0x4000},
        {"it came back with our mark: once is enough", NF_ACCEPT, STREAM_WATCH, STREAM_MARK_RELEASE,
         NF_ACCEPT, 0},
        {"others use our bits", NF_ACCEPT, STREAM_RELEASE, 0x6d6f6c65, NF_ACCEPT, 0},
        {"dropped", NF_DROP, STREAM_RELEASE, 0, NF_DROP, 0},
    };
    uint32_t nId = 0;
    recording_popen::AnswerWith([](const std::string&) { return recording_popen::tagAnswer{}; });
    ManageLiveRules(RULE_ADD);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.szReason);
        judge(++nId, c.nVerdict, c.nStreamMark, c.nMark);
        ExpectVerdict(nId, c.nSentVerdict, c.nSentMark);
    }
    judge(0, NF_ACCEPT, STREAM_RELEASE, 0);
    EXPECT_FALSE(NextVerdict(20)) << "no packet";
    ManageLiveRules(RULE_REMOVE);
    judge(++nId, NF_ACCEPT, STREAM_RELEASE, 0);
    ExpectVerdict(nId, NF_ACCEPT);  // no rules of ours read it
    EXPECT_EQ(Count(COUNT_ACCEPTED), 6u);
    EXPECT_EQ(Count(COUNT_DROPPED), 1u);
    recording_popen::AnswerWith({});
}
}  // namespace
