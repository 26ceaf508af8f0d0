// What one queued packet looks like from the inside. Leaf header: the record that a worker zeroes, hands to
// the decision flow and reads the verdict back from. The pointers lead into the worker's copy of the queue
// message, so the record must not outlive the dispatch.
#pragma once

#include <cstdint>

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
};
