// Composes queued packets layer by layer, with sound defaults and documentation addresses, so that a test
// states only what matters to it. Computes checksums in its own plain way: it must not repeat a fault of the
// code under test.
#pragma once

#include <arpa/inet.h>

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "intercept/packet_info.h"

using Bytes = std::vector<uint8_t>;

enum : uint8_t { FLAG_FIN = 0x01, FLAG_SYN = 0x02, FLAG_RST = 0x04, FLAG_PSH = 0x08, FLAG_ACK = 0x10 };

struct tagTestPacket {
    const char* szSrcAddr = "192.0.2.10";
    const char* szDstAddr = "198.51.100.20";
    uint16_t nSrcPort = 40000;
    uint16_t nDstPort = 80;
    uint32_t nSeq = 0x01020304;
    uint32_t nAck = 0xA0B0C0D0;
    uint16_t nWindow = 501;
    uint8_t nFlags = FLAG_PSH | FLAG_ACK;
    uint8_t nProtocol = IPPROTO_TCP;
    std::string ipOptions = "";   // a multiple of four bytes
    std::string tcpOptions = "";  // a multiple of four bytes
    std::string payload = "";
};

inline void Append16(Bytes& bytes, uint32_t n) {
    bytes.insert(bytes.end(), {static_cast<uint8_t>(n >> 8), static_cast<uint8_t>(n)});
}

inline void Append32(Bytes& bytes, uint32_t n) {
    Append16(bytes, n >> 16);
    Append16(bytes, n);
}

inline void AppendAddr(Bytes& bytes, const char* szAddr) {
    Append32(bytes, ntohl(inet_addr(szAddr)));
}

// RFC 1071 over big-endian words; returns what goes into the field, high byte first.
inline uint16_t ReferenceChecksum(std::span<const uint8_t> data, uint32_t nSum = 0) {
    for (size_t i = 0; i < data.size(); ++i) {
        nSum += i % 2 == 0 ? data[i] << 8 : data[i];
        nSum = (nSum & 0xFFFF) + (nSum >> 16);
    }
    return static_cast<uint16_t>(~nSum);
}

// Puts the right checksums into a packet whose lengths may be anything; a header that does not hold
// its checksum field is left alone.
inline void SignPacket(std::span<uint8_t> packet) {
    const auto put = [](std::span<uint8_t> part, size_t nOffset, uint32_t nSum) {
        part[nOffset] = part[nOffset + 1] = 0;
        const uint16_t nChecksum = ReferenceChecksum(part, nSum);
        part[nOffset] = static_cast<uint8_t>(nChecksum >> 8);
        part[nOffset + 1] = static_cast<uint8_t>(nChecksum);
    };
    if (packet.size() < 20) return;
    const size_t nHeader = (packet[0] & 0x0F) * size_t{4};
    if (nHeader < 12 || nHeader > packet.size()) return;
    put(packet.first(nHeader), 10, 0);

    const std::span<uint8_t> segment = packet.subspan(nHeader);
    if (segment.size() < 18) return;
    uint32_t nPseudoSum = IPPROTO_TCP + static_cast<uint32_t>(segment.size());
    for (size_t i = 12; i < 20; i += 2)
        nPseudoSum += packet[i] << 8 | packet[i + 1];
    put(segment, 16, (nPseudoSum & 0xFFFF) + (nPseudoSum >> 16));
}

inline Bytes ComposePacket(const tagTestPacket& from = {}) {
    const size_t nIPHeader = 20 + from.ipOptions.size();
    const size_t nTCPHeader = 20 + from.tcpOptions.size();
    const size_t nTotal = nIPHeader + nTCPHeader + from.payload.size();
    Bytes packet;
    packet.reserve(nTotal);  // exactly: a sanitizer then sees the first byte read behind the packet
    packet.push_back(static_cast<uint8_t>(0x40 | nIPHeader / 4));
    packet.push_back(0);  // type of service
    Append16(packet, static_cast<uint32_t>(nTotal));
    Append16(packet, 0x1234);  // identification
    Append16(packet, 0x4000);  // don't fragment
    packet.push_back(64);      // time to live
    packet.push_back(from.nProtocol);
    Append16(packet, 0);  // checksum
    AppendAddr(packet, from.szSrcAddr);
    AppendAddr(packet, from.szDstAddr);
    packet.insert(packet.end(), from.ipOptions.begin(), from.ipOptions.end());
    Append16(packet, from.nSrcPort);
    Append16(packet, from.nDstPort);
    Append32(packet, from.nSeq);
    Append32(packet, from.nAck);
    packet.push_back(static_cast<uint8_t>(nTCPHeader / 4 << 4));
    packet.push_back(from.nFlags);
    Append16(packet, from.nWindow);
    Append32(packet, 0);  // checksum, urgent pointer
    packet.insert(packet.end(), from.tcpOptions.begin(), from.tcpOptions.end());
    packet.insert(packet.end(), from.payload.begin(), from.payload.end());
    SignPacket(packet);
    return packet;
}

// The slot as the decision flow hands it to ParseIPv4TCP. Points into `packet`.
inline tagPacketInfo SlotOf(const Bytes& packet) {
    tagPacketInfo info{};
    info.pPacket = packet.data();
    info.nPacketLen = static_cast<uint16_t>(packet.size());
    return info;
}

// A slot as ParseIPv4TCP leaves it, for tests that care about the TCP data only. The data stands in a block
// of its exact size.
struct TestSegment {
    explicit TestSegment(std::string_view data) : bytes(data.begin(), data.end()) {
        info.pData = bytes.data();
        info.nDataLen = static_cast<uint16_t>(bytes.size());
    }
    TestSegment(const TestSegment&) = delete;
    Bytes bytes;
    tagPacketInfo info{};
};
