#include "block/block_reset.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "inspect/ipv4_tcp.h"
#include "tests/support/packet_composer.h"
#include "tests/unit/common/temp_folder.h"

namespace {

const tagWebRequest kRequest{};

// The reset as it should be, put together by the composer.
Bytes ExpectedReset(uint32_t nSeq, uint32_t nAck, uint8_t nFlags, uint16_t nWindow) {
    Bytes reset = ComposePacket({.szSrcAddr = "198.51.100.20",
                                 .szDstAddr = "192.0.2.10",
                                 .nSrcPort = 80,
                                 .nDstPort = 40000,
                                 .nSeq = nSeq,
                                 .nAck = nAck,
                                 .nWindow = nWindow,
                                 .nFlags = nFlags});
    reset[4] = reset[5] = 0;  // identification
    SignPacket(reset);
    return reset;
}

TEST(BuildBlockReset, AnswersInTheServersName) {
    constexpr uint8_t RST_ACK = FLAG_RST | FLAG_ACK, SYN_FIN = FLAG_SYN | FLAG_FIN;
    const std::string words(4, '\1'), data(100, 'x');
    const struct {
        uint32_t nSeq, nAck;
        uint8_t nFlags;
        uint16_t nWindow;
        const char* szReason;
        tagTestPacket queued;
    } cases[] = {
        {0xA0B0C0D0, 0, FLAG_RST, 0xFA80, "with ACK", {.nAck = 0xA0B0C0D0, .payload = "GET /"}},
        {7, 0, FLAG_RST, 0x1A00, "window shifted and cut", {.nAck = 7, .nWindow = 0x1234}},
        {7, 0, FLAG_RST, 128, "options", {.nAck = 7, .nWindow = 1, .ipOptions = words, .tcpOptions = words}},
        {0, 5100, RST_ACK, 0, "no ACK", {.nSeq = 5000, .nWindow = 0, .nFlags = FLAG_PSH, .payload = data}},
        {0, 1, RST_ACK, 0, "SYN and FIN count", {.nSeq = UINT32_MAX, .nWindow = 0, .nFlags = SYN_FIN}},
    };
    for (const auto& c : cases) {
        const Bytes packet = ComposePacket(c.queued);
        tagPacketInfo info = SlotOf(packet);
        ASSERT_EQ(ParseIPv4TCP(&info, &kRequest), 0) << c.szReason;
        const auto reset = BuildBlockReset(info);
        EXPECT_EQ(Bytes(reset.begin(), reset.end()), ExpectedReset(c.nSeq, c.nAck, c.nFlags, c.nWindow))
            << c.szReason;
    }
}

TEST(SendBlockReset, ReportsThatItCannot) {
    EXPECT_EQ(SendBlockReset(nullptr), 2);
    const int nResult = RunInChild([] {
        if (getuid() == 0 && setuid(65534) != 0) return 1;
        const Bytes packet = ComposePacket();
        tagPacketInfo info = SlotOf(packet);
        if (ParseIPv4TCP(&info, &kRequest) != 0) return 2;
        return SendBlockReset(&info) == -1 ? 0 : 3;
    });
    EXPECT_EQ(nResult, 0) << "a raw socket without the right to one";
}

}  // namespace
