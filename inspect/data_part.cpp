#include "inspect/data_part.h"

#include <arpa/inet.h>
#include <netinet/ip.h>
#include <netinet/tcp.h>

#include <cstring>

tagPacketInfo DataPart(const tagPacketInfo& packet) {
    tcphdr tcp;
    std::memcpy(&tcp, packet.pPacket + packet.nIPHeaderLen, sizeof tcp);
    tagPacketInfo part = packet;
    part.nSeq += tcp.syn;
    return part;
}

uint32_t SequenceEnd(const tagPacketInfo& part) {
    uint32_t nLength = part.nDataLen;
    if (part.bCut == 1) {
        const auto nHeaders =
            reinterpret_cast<uintptr_t>(part.pData) - reinterpret_cast<uintptr_t>(part.pPacket);
        uint16_t nTotal;
        std::memcpy(&nTotal, part.pPacket + offsetof(iphdr, tot_len), sizeof nTotal);
        const bool bWithin = nHeaders <= part.nPacketLen && ntohs(nTotal) > nHeaders + nLength;
        nLength = bWithin ? static_cast<uint32_t>(ntohs(nTotal) - nHeaders) : nLength + 1;
    }
    return part.nSeq + nLength;
}

void StepTo(tagPacketInfo& part, size_t nOffset) {
    part.pData += nOffset;
    part.nDataLen = static_cast<uint16_t>(part.nDataLen - nOffset);
    part.nSeq += static_cast<uint32_t>(nOffset);
}
