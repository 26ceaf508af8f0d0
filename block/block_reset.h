// Tells a client that its connection is gone: a forged TCP reset (RFC 9293 3.5.2) in the server's name. The
// server is sent nothing.
//
// The packet must be one that ParseIPv4TCP accepted. Any worker; each call uses its own socket.
#pragma once

#include <array>
#include <cstdint>

#include "intercept/packet_info.h"

constexpr uint32_t BLOCK_RESET_LEN = 40;  // IPv4 and TCP header, no options, no data

// The whole reset, both checksums included: ports and addresses swapped, the sequence number that the client
// expects next. A segment without ACK expects none; its reset acknowledges all of it instead.
std::array<uint8_t, BLOCK_RESET_LEN> BuildBlockReset(const tagPacketInfo& packet);

// Sends the reset to the client through a raw socket of its own (CAP_NET_RAW). No cancellation point.
// Returns 0 once the packet was handed to the socket, whatever became of it; 2 when pPacket is null; -1 when
// the socket could not be opened or set up.
int SendBlockReset(const tagPacketInfo* pPacket);
