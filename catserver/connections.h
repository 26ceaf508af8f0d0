// The connections that the server holds, oldest first. Their number is bounded, and with it the memory: a new
// one takes the place of the oldest when the table is full. So is the time of each: all have the same, so the
// oldest is also the first whose time is up. One thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "category/category_server_protocol.h"

constexpr uint32_t CONNECTIONS_MAX = 256;
constexpr int CONNECTION_TIME_MS = 2000;  // from the accepting to the end of the exchange
constexpr uint32_t NO_CONNECTION = CONNECTIONS_MAX;

struct tagConnection {
    int nSocket;
    uint32_t nOlder;     // neighbours by age, NO_CONNECTION at either end
    uint32_t nNewer;     // also links the free ones
    int64_t nDeadline;   // milliseconds of the monotonic clock
    uint32_t nReceived;  // bytes in `request`
    uint8_t bRefused;    // the refusal is sent; what still comes is thrown away until the peer closes
    uint8_t request[sizeof(CategoryRequest) + 1];  // one more, so that a request that is too long shows
};

struct tagConnectionTable {
    uint32_t nOldest;
    uint32_t nNewest;
    uint32_t nFree;
    tagConnection connections[CONNECTIONS_MAX];
};

// Makes the table empty.
void InitConnections(tagConnectionTable& table);

// Takes over a socket. Returns its index, or NO_CONNECTION when the table is full (the socket is then still
// the caller's).
uint32_t AddConnection(tagConnectionTable& table, int nSocket, int64_t nNow);

// Closes the socket and frees the place; any other index stays valid.
void CloseConnection(tagConnectionTable& table, uint32_t nIndex);
