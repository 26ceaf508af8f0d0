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

// The offset of the next request in data that begins with one which is enough: behind the end of its headers
// and a body whose length they tell, or behind the line of an FTP command and any other command lines. The
// size of the data when none begins there, or when that cannot be said: behind CONNECT, a body in chunks, and
// a hello.
size_t FindNextRequest(std::span<const uint8_t> data);
