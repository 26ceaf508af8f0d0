// The firewall marks by which the daemon tells the kernel what becomes of a connection. Leaf header. Every
// other bit of a packet's or a connection's mark belongs to others and stays as it is.
#pragma once

#include <cstdint>

// On a packet that is sent through its rules once more (NF_REPEAT): what its connection's mark is to become.
// Compared whole, so that hardly a mark of other software is taken for one of these; a packet of which others
// use any of these bits gets none.
constexpr uint32_t STREAM_MARK_BITS = 0xFFFF0000;
constexpr uint32_t STREAM_MARK_RELEASE = 0x57530000;
constexpr uint32_t STREAM_MARK_WATCH = 0x57570000;

// On a connection: its outgoing data comes to the queue.
constexpr uint32_t STREAM_MARK_WATCHED = 0x02000000;
