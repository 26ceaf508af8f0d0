// The messages that the daemon sends to the netfilter queue subsystem (linux/netfilter/nfnetlink_queue.h):
// a netlink header with NLM_F_REQUEST, a struct nfgenmsg, one attribute or two. No reply is asked for, but
// for the flags, which not every kernel knows.
//
// Each builder writes into a zeroed buffer of the caller's, aligned for a netlink header, and returns the
// header in it; nlmsg_len bytes are to be sent. Works on its arguments only.
#pragma once

#include <libmnl/libmnl.h>

#include <array>
#include <cstdint>

// Room for any of the messages below.
constexpr uint32_t QUEUE_MSG_BYTES = 64;
struct tagQueueMsgBuffer {
    alignas(nlmsghdr) std::array<uint8_t, QUEUE_MSG_BYTES> bytes;
};

// NF_ACCEPT or NF_DROP for one packet id.
nlmsghdr* BuildVerdictMsg(tagQueueMsgBuffer& buffer, uint32_t nPacketId, uint32_t nQueueNum,
                          uint32_t nVerdict);

// NF_REPEAT for one packet id: it meets the rules again, with that mark.
nlmsghdr* BuildRepeatMsg(tagQueueMsgBuffer& buffer, uint32_t nPacketId, uint32_t nQueueNum, uint32_t nMark);

// How much of each packet is copied: nCopyMode is NFQNL_COPY_*, nCopyRange in bytes.
nlmsghdr* BuildCfgParamsMsg(tagQueueMsgBuffer& buffer, uint8_t nCopyMode, uint32_t nCopyRange,
                            uint32_t nQueueNum);

// Switches NFQA_CFG_F_* on for one queue. The kernel answers under that sequence number: with 0 or, when it
// does not know all of them, an error, and then none is on.
nlmsghdr* BuildCfgFlagsMsg(tagQueueMsgBuffer& buffer, uint32_t nFlags, uint32_t nQueueNum,
                           uint32_t nSequence);

// How many packets may wait for their verdict.
nlmsghdr* BuildCfgQueueLenMsg(tagQueueMsgBuffer& buffer, uint32_t nPackets, uint32_t nQueueNum);

// NFQNL_CFG_CMD_BIND and its like for one queue.
nlmsghdr* BuildCfgCmdMsg(tagQueueMsgBuffer& buffer, uint8_t nCommand, uint32_t nQueueNum);

// NFQNL_CFG_CMD_PF_BIND and its like for IPv4.
nlmsghdr* BuildCfgPfCmdMsg(tagQueueMsgBuffer& buffer, uint8_t nCommand);
