// Requests without a connection: one IPv4 packet each, sent through a raw socket, which passes the firewall's
// outgoing hooks like any other. What the benches send where a connection's own ways (repetition, windows)
// would blur the count.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

constexpr size_t RAW_PACKET_BYTES = 256;

struct tagRawPacket {
    uint8_t bytes[RAW_PACKET_BYTES];
    size_t nLength;
};

// Addresses in network order, the rest in host order.
struct tagRawRoute {
    uint32_t nSrcAddr, nDstAddr;
    uint16_t nSrcPort, nDstPort;
};

// A GET of "/" from the host in a segment with PSH and ACK, both checksums right. The name has at most 100
// characters.
void ComposeRequest(tagRawPacket& packet, const tagRawRoute& route, uint32_t nSeq, std::string_view host);

// A raw socket for them, or -1.
int OpenRawSocket();
