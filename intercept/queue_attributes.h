// Taking received queue messages apart (linux/netfilter/nfnetlink_queue.h). Leaf header; the callbacks work
// on their arguments only and may run on any thread.
#pragma once

#include <libmnl/libmnl.h>
#include <linux/netfilter/nfnetlink_queue.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "intercept/packet_info.h"

// mnl_cb_run over a received datagram (aligned for a netlink header), up to the first message whose length
// cannot be right: libmnl takes a length of 2 GiB or more for a negative one and leaves the buffer.
int RunQueueMessages(const void* pDatagram, size_t nBytes, uint32_t nPortId, mnl_cb_t pfnOnMessage,
                     void* pData);

// Attributes of one message by type, up to NFQA_PAYLOAD; newer ones are not kept. Zero it before each parse.
using tagQueueAttrTable = std::array<const nlattr*, NFQA_PAYLOAD + 1>;
static_assert(NFQA_PAYLOAD == 10);

// mnl_attr_cb_t with a tagQueueAttrTable: files the attribute under its type. An attribute of a type above
// NFQA_PAYLOAD is passed over (kernels are newer than programs). MNL_CB_ERROR for one whose size cannot be
// right; the parse then stops and what was filed before stays.
int ParseQueueAttr(const nlattr* pAttr, void* pTable);

// Parses the attributes of a queue message behind its generic header into the table. Always a usable table:
// a stopped parse leaves the attributes found so far.
void ParseQueueMessage(const nlmsghdr* pMessage, tagQueueAttrTable& table);

// The packet id of a parsed message in host order; 0 when it carries no (or a cut) NFQA_PACKET_HDR.
uint32_t QueuedPacketId(const tagQueueAttrTable& table);

// With LiveTraffic 1: what the kernel tells about a packet beside it. Fills bNoTCPChecksum, bCut, bHasUid,
// nUid and nMark of a record whose nPacketLen is set; what the message does not tell is left as it is.
void ReadDeliveryNotes(const nlmsghdr* pMessage, tagPacketInfo& packet);

// What the kernel answered to a request of ours.
struct tagKernelAnswer {
    int nError;  // 0 or a negative error number
    uint32_t nSequence;
};

// The answer that a received datagram is; nothing for one that holds queue messages. The kernel puts an
// answer into a datagram of its own.
std::optional<tagKernelAnswer> ReadKernelAnswer(const void* pDatagram, size_t nBytes);

// mnl_cb_t with a uint32_t: stores the packet id of the message, 0 when it has none. MNL_CB_OK, so that with
// several messages in a buffer the last one counts.
int GetQueuedPacketId(const nlmsghdr* pMessage, void* pId);
