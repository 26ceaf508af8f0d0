#include "intercept/queue_messages.h"

#include <gtest/gtest.h>
#include <linux/netfilter/nfnetlink_queue.h>

#include <vector>

namespace {
using Bytes = std::vector<uint8_t>;

Bytes Sent(const nlmsghdr* pMessage) {
    const auto* p = reinterpret_cast<const uint8_t*>(pMessage);
    return {p, p + pMessage->nlmsg_len};
}

// What the kernel must read, byte by byte (little-endian host: length, type, flags, sequence, port id).
TEST(QueueMessages, AreWhatTheKernelReads) {
    tagQueueMsgBuffer buffer;
    buffer.bytes.fill(0xEE);
    EXPECT_EQ(Sent(BuildVerdictMsg(buffer, 5, 0, 1)),
              (Bytes{
                  32, 0, 0, 0, 0x01, 0x03, 1, 0,              // type 769, request
                  0,  0, 0, 0, 0,    0,    0, 0, 0, 0, 0, 0,  // unspec, version 0, queue 0
                  12, 0, 2, 0,                                // NFQA_VERDICT_HDR
                  0,  0, 0, 1, 0,    0,    0, 5,              // accept, id
              }));
    EXPECT_EQ(Sent(BuildCfgParamsMsg(buffer, NFQNL_COPY_PACKET, 65535, 0x0102)),
              (Bytes{
                  32, 0, 0, 0, 0x02, 0x03, 1,    0,                 // type 770
                  0,  0, 0, 0, 0,    0,    0,    0,                 //
                  0,  0, 1, 2,                                      // queue number in network order
                  9,  0, 2, 0, 0,    0,    0xFF, 0xFF, 2, 0, 0, 0,  // range, mode, padding
              }));
    EXPECT_EQ(Sent(BuildCfgCmdMsg(buffer, NFQNL_CFG_CMD_BIND, 3)),
              (Bytes{
                  28, 0, 0, 0, 0x02, 0x03, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 3, 8, 0, 1, 0, 1, 0, 0, 2,
              }));
    EXPECT_EQ(Sent(BuildCfgPfCmdMsg(buffer, NFQNL_CFG_CMD_PF_UNBIND)),
              (Bytes{
                  28, 0, 0, 0, 0x02, 0x03, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 8, 0, 1, 0, 4, 0, 0, 2,
              }));
}
}  // namespace
