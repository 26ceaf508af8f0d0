#include "bench/rig/raw_packet.h"

#include <arpa/inet.h>
#include <netinet/ip.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cstdio>
#include <cstring>

namespace {

// Sum of 16-bit words; an odd byte at the end counts as the high one.
uint32_t Sum(const uint8_t* p, size_t nBytes) {
    uint32_t nSum = 0;
    for (size_t n = 0; n + 1 < nBytes; n += 2)
        nSum += static_cast<uint32_t>(p[n] << 8 | p[n + 1]);
    return nBytes % 2 == 0 ? nSum : nSum + static_cast<uint32_t>(p[nBytes - 1] << 8);
}

uint16_t Folded(uint32_t nSum) {
    while (nSum > 0xFFFF)
        nSum = (nSum >> 16) + (nSum & 0xFFFF);
    return htons(static_cast<uint16_t>(~nSum));
}

}  // namespace

void ComposeRequest(tagRawPacket& packet, const tagRawRoute& route, uint32_t nSeq, std::string_view host) {
    constexpr size_t HEADERS = sizeof(iphdr) + sizeof(tcphdr);
    packet = {};
    char* pData = reinterpret_cast<char*>(packet.bytes + HEADERS);
    const auto nData = static_cast<size_t>(std::snprintf(pData, RAW_PACKET_BYTES - HEADERS,
                                                         "GET / HTTP/1.1\r\nHost: %.*s\r\n\r\n",
                                                         static_cast<int>(host.size()), host.data()));
    packet.nLength = HEADERS + nData;

    tcphdr tcp{};
    tcp.source = htons(route.nSrcPort);
    tcp.dest = htons(route.nDstPort);
    tcp.seq = htonl(nSeq);
    tcp.ack_seq = htonl(1);
    tcp.doff = sizeof tcp / 4;
    tcp.psh = tcp.ack = 1;
    tcp.window = htons(1024);
    std::memcpy(packet.bytes + sizeof(iphdr), &tcp, sizeof tcp);

    iphdr ip{};
    ip.version = 4;
    ip.ihl = sizeof ip / 4;
    ip.tot_len = htons(static_cast<uint16_t>(packet.nLength));
    ip.ttl = 64;
    ip.protocol = IPPROTO_TCP;
    ip.saddr = route.nSrcAddr;
    ip.daddr = route.nDstAddr;
    ip.check = Folded(Sum(reinterpret_cast<const uint8_t*>(&ip), sizeof ip));
    std::memcpy(packet.bytes, &ip, sizeof ip);

    // Addresses, protocol and length stand for the pseudo header.
    const size_t nSegment = packet.nLength - sizeof ip;
    const uint32_t nSum = Sum(packet.bytes + offsetof(iphdr, saddr), 8 + nSegment) + IPPROTO_TCP +
                          static_cast<uint32_t>(nSegment);
    const uint16_t nCheck = Folded(nSum);
    std::memcpy(packet.bytes + sizeof ip + offsetof(tcphdr, check), &nCheck, sizeof nCheck);
}

int OpenRawSocket() {
    return socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_RAW);
}
