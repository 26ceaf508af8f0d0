// Whose connection a packet belongs to: the uid that came with the packet; without one the owner of the
// socket in the kernel's IPv4 TCP table (proc(5), /proc/net/tcp; its columns in the kernel's
// Documentation/networking/proc_net_tcp).
//
// In the table only the two ports are compared, so of several connections with the same ports the first
// listed decides. Both operations hold a file and memory while they may block: call them with cancellation
// off. Any thread.
#pragma once

#include <cstdint>

#include "intercept/packet_info.h"

// Writes the login name of the connection's owner into szUser, cut to nSize - 1 bytes and terminated. szUser
// is left as it was when there is no such connection or its uid has no password entry.
//   0    done, found or not
//   5    the table cannot be opened
//   7    no memory
uint32_t GetConnectionOwner(char* szUser, uint32_t nSize, const tagPacketInfo* pPacket);

// The same from the table alone, read from szTable.
uint32_t FindConnectionOwner(const char* szTable, char* szUser, uint32_t nSize, const tagPacketInfo* pPacket);
