// How far the first bytes of a request decide what it asks for, and where the request behind it begins: what
// has to be known before the bytes of several segments can be judged as one. Only LiveTraffic 1 asks.
//
// Pure functions; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "inspect/live_detect.h"

// Returns PREFIX_*. A hello is enough with its server name; an HTTP request with the first Host line and that
// line's end, or else the end of its headers; an FTP command with the end of its line. What was enough stays
// enough with bytes behind, and asks for the same.
uint8_t ReadRequestPrefix(std::span<const uint8_t> data);

// Where the request that the data begins with ends, its body included.
enum : uint8_t {
    END_AT,       // before nOffset, which may lie behind the data
    END_LATER,    // its headers go on behind the data
    END_UNKNOWN,  // cannot be said: behind CONNECT, a body in chunks, a length that is none
    END_NEVER,    // a hello: no request comes behind it
};

struct tagRequestEnd {
    uint8_t nKind;  // END_*
    uint64_t nOffset;
};

tagRequestEnd FindRequestEnd(std::span<const uint8_t> data);

// How many bytes of line ends the data begins with: servers pass over empty lines before a request.
size_t CountLineEnds(std::span<const uint8_t> data);

// The offset of the next request in data that begins with one which is enough and ends at `end`: behind that
// and empty lines; behind an FTP command and any other command lines. The size of the data when none begins
// there.
size_t FindNextRequest(std::span<const uint8_t> data, const tagRequestEnd& end);
