#include "inspect/ipv4_tcp.h"

#include <arpa/inet.h>
#include <netinet/ip.h>
#include <netinet/tcp.h>

#include <cstring>
#include <span>

#include "inspect/internet_checksum.h"

namespace {

constexpr uint16_t MIN_PACKET_LEN = 32;

using ByteSpan = std::span<const uint8_t>;

int ParseIPv4Header(ByteSpan packet, tagPacketInfo& info);
int ParseTCPHeader(ByteSpan segment, tagPacketInfo& info);
uint32_t PseudoHeaderSum(const tagPacketInfo& info, size_t nSegmentLen);

}  // namespace

int ParseIPv4TCP(tagPacketInfo* pPacket, const tagWebRequest* pRequest) {
    if (!pPacket || !pRequest) return 2;
    const ByteSpan packet(pPacket->pPacket, pPacket->nPacketLen);
    if (packet.size() < MIN_PACKET_LEN) return -1;
    if (ParseIPv4Header(packet, *pPacket) != 0) return -1;

    const ByteSpan segment = packet.subspan(pPacket->nIPHeaderLen);
    if (ParseTCPHeader(segment, *pPacket) != 0) return -1;

    if (pPacket->bNoTCPChecksum == 1 || pPacket->bCut == 1) return 0;
    const uint32_t nPseudoSum = PseudoHeaderSum(*pPacket, segment.size());
    return InternetChecksum(segment.data(), segment.size(), nPseudoSum) == 0 ? 0 : -1;
}

namespace {

int ParseIPv4Header(ByteSpan packet, tagPacketInfo& info) {
    iphdr ip;
    std::memcpy(&ip, packet.data(), sizeof ip);
    info.nIPHeaderLen = static_cast<uint8_t>(ip.ihl * 4);
    if (info.nIPHeaderLen < sizeof ip || info.nIPHeaderLen > packet.size()) return -1;
    if (ip.protocol != IPPROTO_TCP) return -1;

    info.nIPChecksum = ip.check;
    if (InternetChecksum(packet.data(), info.nIPHeaderLen, 0) != 0) return -1;
    info.nSrcAddr = ip.saddr;
    info.nDstAddr = ip.daddr;
    return 0;
}

int ParseTCPHeader(ByteSpan segment, tagPacketInfo& info) {
    tcphdr tcp;
    if (segment.size() < sizeof tcp) return -1;
    std::memcpy(&tcp, segment.data(), sizeof tcp);
    info.nSrcPort = ntohs(tcp.source);
    info.nDstPort = ntohs(tcp.dest);
    info.nSeq = ntohl(tcp.seq);
    info.nAck = ntohl(tcp.ack_seq);
    info.nTCPChecksum = tcp.check;

    const size_t nHeaderLen = tcp.doff * size_t{4};
    if (nHeaderLen < sizeof tcp || nHeaderLen > segment.size()) return -1;
    const ByteSpan data = segment.subspan(nHeaderLen);
    info.pData = data.data();
    info.nDataLen = static_cast<uint16_t>(data.size());
    return 0;
}

uint32_t PseudoHeaderSum(const tagPacketInfo& info, size_t nSegmentLen) {
    return (info.nSrcAddr & 0xFFFF) + (info.nSrcAddr >> 16) + (info.nDstAddr & 0xFFFF) +
           (info.nDstAddr >> 16) + htons(IPPROTO_TCP) + htons(static_cast<uint16_t>(nSegmentLen));
}

}  // namespace
