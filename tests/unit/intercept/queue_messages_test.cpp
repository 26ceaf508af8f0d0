#include "intercept/queue_messages.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <linux/netfilter/nfnetlink.h>
#include <linux/netfilter/nfnetlink_queue.h>

#include <cstring>
#include <vector>

#include "intercept/queue_attributes.h"
#include "tests/support/fake_kernel_queue.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes Sent(const nlmsghdr* pMessage) {
    const auto* p = reinterpret_cast<const uint8_t*>(pMessage);
    return {p, p + pMessage->nlmsg_len};
}

// Byte by byte (little-endian host: length, type, flags, sequence, port id). What the others say is seen by
// what the kernel does.
TEST(QueueMessages, SayWhatNoKernelOfTodayTells) {
    tagQueueMsgBuffer buffer;
    buffer.bytes.fill(0xEE);
    EXPECT_EQ(Sent(BuildCfgParamsMsg(buffer, NFQNL_COPY_PACKET, 65535, 0x0102)),
              (Bytes{
                  32, 0, 0, 0, 0x02, 0x03, 1,    0,                 // type 770
                  0,  0, 0, 0, 0,    0,    0,    0,                 //
                  0,  0, 1, 2,                                      // queue number in network order
                  9,  0, 2, 0, 0,    0,    0xFF, 0xFF, 2, 0, 0, 0,  // range, mode, padding
              }));
    EXPECT_EQ(Sent(BuildCfgFlagsMsg(buffer, 5, 0x0102, 9)),
              (Bytes{
                  36, 0, 0, 0, 0x02, 0x03, 5, 0,              // request, acknowledge
                  9,  0, 0, 0, 0,    0,    0, 0, 0, 0, 1, 2,  //
                  8,  0, 5, 0, 0,    0,    0, 5,              // NFQA_CFG_FLAGS
                  8,  0, 4, 0, 0,    0,    0, 5,              // NFQA_CFG_MASK
              }));
    EXPECT_EQ(Sent(BuildCfgPfCmdMsg(buffer, NFQNL_CFG_CMD_PF_UNBIND)),
              (Bytes{
                  28, 0, 0, 0, 0x02, 0x03, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 8, 0, 1, 0, 4, 0, 0, 2,
              }));
}

// A queue message whose attributes a test appends one by one.
struct tagMessageComposer {
    alignas(nlmsghdr) uint8_t bytes[1024]{};
    nlmsghdr* pMessage = mnl_nlmsg_put_header(bytes);

    tagMessageComposer() { mnl_nlmsg_put_extra_header(pMessage, sizeof(nfgenmsg)); }
    tagMessageComposer& Put(uint16_t nType, size_t nLen) {
        static const uint8_t fill[64] = {0, 0, 0, 9};
        mnl_attr_put(pMessage, nType, nLen, fill);
        return *this;
    }
};

TEST(QueueAttributes, NewerTypesArePassedOver) {
    tagMessageComposer message;
    message.Put(NFQA_PACKET_HDR, 7).Put(NFQA_CT, 20).Put(40, 3).Put(NFQA_PAYLOAD, 33);
    tagQueueAttrTable table;
    ParseQueueMessage(message.pMessage, table);
    EXPECT_EQ(QueuedPacketId(table), 9u);
    ASSERT_NE(table[NFQA_PAYLOAD], nullptr);
    EXPECT_EQ(mnl_attr_get_payload_len(table[NFQA_PAYLOAD]), 33);
}

TEST(QueueAttributes, AWrongSizeStopsTheParse) {
    const struct {
        uint16_t nType;
        size_t nWrong;
        size_t nRight;
    } cases[] = {
        {NFQA_MARK, 3, 4},        {NFQA_IFINDEX_PHYSINDEV, 0, 4}, {NFQA_IFINDEX_PHYSOUTDEV, 8, 4},
        {NFQA_TIMESTAMP, 15, 16}, {NFQA_HWADDR, 8, 12},
    };
    for (const auto& c : cases) {
        for (const size_t nLen : {c.nWrong, c.nRight}) {
            tagMessageComposer message;
            message.Put(NFQA_PACKET_HDR, 7).Put(c.nType, nLen).Put(NFQA_PAYLOAD, 40);
            tagQueueAttrTable table;
            ParseQueueMessage(message.pMessage, table);
            EXPECT_EQ(QueuedPacketId(table), 9u) << "what came before stays, type " << c.nType;
            EXPECT_EQ(table[NFQA_PAYLOAD] != nullptr, nLen == c.nRight) << "type " << c.nType;
        }
    }
}

TEST(QueueAttributes, PacketIdOfAnyMessage) {
    uint32_t nId = 77;
    EXPECT_EQ(GetQueuedPacketId(tagMessageComposer().Put(NFQA_PAYLOAD, 40).pMessage, &nId), MNL_CB_OK);
    EXPECT_EQ(nId, 0u) << "no packet header";
    nId = 77;
    GetQueuedPacketId(tagMessageComposer().Put(NFQA_PACKET_HDR, 3).pMessage, &nId);
    EXPECT_EQ(nId, 0u) << "a packet header too short for its id";

    std::vector<uint8_t> two = fake_kernel::QueueMessage(3, {});
    const std::vector<uint8_t> second = fake_kernel::QueueMessage(4, {});
    two.insert(two.end(), second.begin(), second.end());
    EXPECT_GE(RunQueueMessages(two.data(), two.size(), 1, GetQueuedPacketId, &nId), 0);
    EXPECT_EQ(nId, 4u) << "the last message of a buffer counts";
    const std::vector<uint8_t> error = fake_kernel::ErrorMessage(1);
    EXPECT_LT(RunQueueMessages(error.data(), error.size(), 1, GetQueuedPacketId, &nId), 0);
}

TEST(QueueAttributes, DeliveryNotes) {
    const struct {
        const char* szReason;
        uint16_t nType;
        uint32_t nValue;
        uint8_t bNoTCPChecksum, bCut, bHasUid;
        uint32_t nUid, nMark;
    } cases[] = {
        {"no checksum yet", NFQA_SKB_INFO, NFQA_SKB_CSUMNOTREADY | NFQA_SKB_GSO, 1, 0, 0, 0, 0},
        {"GSO alone, or not verified, is signed", NFQA_SKB_INFO, 6, 0, 0, 0, 0, 0},
        {"longer than the payload", NFQA_CAP_LEN, 41, 0, 1, 0, 0, 0},
        {"as long as the payload", NFQA_CAP_LEN, 40, 0, 0, 0, 0, 0},
        {"root", NFQA_UID, 0, 0, 0, 1, 0, 0},
        {"the largest uid", NFQA_UID, 0xFFFFFFFE, 0, 0, 1, 0xFFFFFFFE, 0},
        {"other software's mark", NFQA_MARK, 0x4000, 0, 0, 0, 0, 0x4000},
    };
    for (const auto& c : cases) {
        for (const size_t nLen : {4u, 3u, 8u}) {
            SCOPED_TRACE(c.szReason);
            tagMessageComposer message;
            const uint32_t nValue[2] = {htonl(c.nValue), 0};
            mnl_attr_put(message.pMessage, c.nType, nLen, nValue);
            tagPacketInfo packet{};
            packet.nPacketLen = 40;
            ReadDeliveryNotes(message.pMessage, packet);
            const bool bRead = nLen == 4;
            EXPECT_EQ(packet.bNoTCPChecksum, bRead ? c.bNoTCPChecksum : 0);
            EXPECT_EQ(packet.bCut, bRead ? c.bCut : 0);
            EXPECT_EQ(packet.bHasUid, bRead ? c.bHasUid : 0);
            EXPECT_EQ(packet.nUid, bRead ? c.nUid : 0);
            EXPECT_EQ(packet.nMark, bRead ? c.nMark : 0);
        }
    }
    tagMessageComposer cut;
    const uint32_t nUid = 0xFFFFFFFF;
    mnl_attr_put(cut.pMessage, NFQA_UID, sizeof nUid, &nUid);
    cut.pMessage->nlmsg_len -= 2;
    tagPacketInfo packet{};
    ReadDeliveryNotes(cut.pMessage, packet);
    EXPECT_EQ(packet.bHasUid, 0) << "reaches behind the message";
}

// Lengths that would lead the walk over the messages out of the datagram.
TEST(QueueAttributes, AWrongLengthEndsTheDatagram) {
    const std::vector<uint8_t> first = fake_kernel::QueueMessage(3, {});
    for (const uint32_t nLength : {0u, 15u, 29u, 0x80000000u, 0xFFFFF894u, 0xFFFFFFFFu}) {
        std::vector<uint8_t> two = first, second = fake_kernel::QueueMessage(4, {});
        if (nLength == 29) second.resize(28);
        std::memcpy(second.data(), &nLength, sizeof nLength);
        two.insert(two.end(), second.begin(), second.end());
        uint32_t nId = 77;
        EXPECT_GE(RunQueueMessages(two.data(), two.size(), 1, GetQueuedPacketId, &nId), 0);
        EXPECT_EQ(nId, 3u) << nLength;
    }
}

}  // namespace
