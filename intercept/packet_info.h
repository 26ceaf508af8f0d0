// What one queued packet looks like from the inside. Leaf header: the record that a worker zeroes, hands to
// the decision flow and reads the verdict back from. The pointers lead into the worker's copy of the queue
// message, so the record must not outlive the dispatch.
#pragma once

#include <cstdint>

// Whether later segments of the connection come to the queue as well.
enum : uint8_t {
    STREAM_KEEP = 0,     // as it is
    STREAM_WATCH = 1,    // from now on they come
    STREAM_RELEASE = 2,  // they no longer come
};

struct tagPacketInfo {
    uint32_t nPacketId;      // queue packet id, host order; 0: the message carried none
    uint32_t nSrcAddr;       // IPv4, network order
    uint32_t nDstAddr;       // IPv4, network order
    uint16_t nSrcPort;       // host order
    uint16_t nDstPort;       // host order
    uint32_t nSeq;           // host order
    uint32_t nAck;           // host order
    uint16_t nIPChecksum;    // as found in the packet
    uint16_t nTCPChecksum;   // as found in the packet
    uint16_t nPacketLen;     // bytes of the queued IPv4 packet
    uint16_t nDataLen;       // bytes of TCP data
    const uint8_t* pPacket;  // IPv4 header
    const uint8_t* pData;    // TCP data
    uint8_t nIPHeaderLen;    // bytes
    uint8_t nVerdict;        // NF_ACCEPT (1) or NF_DROP (0), linux/netfilter.h

    // Told by the kernel with LiveTraffic 1 only; otherwise zero.
    uint8_t bNoTCPChecksum;  // 1: the kernel has not filled in the TCP checksum yet
    uint8_t bCut;            // 1: the packet is longer than what was copied
    uint8_t bHasUid;         // 1: nUid is the owner of the sending socket
    uint8_t nStreamMark;     // STREAM_*: what the verdict is to do with the connection's mark
    uint32_t nUid;
    uint32_t nMark;  // the packet's mark as other software set it; a verdict with a mark keeps it

    // Of a part to judge (GATHER_JUDGE): where the request behind the first begins; nDataLen: there is none.
    uint16_t nNextRequest;
};
