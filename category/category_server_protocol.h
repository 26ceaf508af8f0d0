// What goes over the connection to the category server: one request, one reply. Leaf header: the daemon asks,
// the server answers. Integers are in the host's byte order, since both ends are on one host.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr uint16_t CATSERVER_PORT = 7101;
constexpr char CATSERVER_HOST[] = "127.0.0.1";

// The three words that open every request. Their meaning is the server's own affair; they never change.
constexpr uint32_t CATSERVER_WORDS[] = {1, 4, 10000};
constexpr size_t CATSERVER_URL_BYTES = 12288;

struct CategoryRequest {
    uint32_t nWords[3];               // CATSERVER_WORDS
    char szURL[CATSERVER_URL_BYTES];  // NUL-padded
};
static_assert(sizeof(CategoryRequest) == 12300);

// A reply that begins with another status ends there.
constexpr uint32_t CATSERVER_STATUS_OK = 0;

#pragma pack(push, 1)
struct CategoryReply {
    uint32_t nStatus;
    uint64_t nLength;  // of the text that follows: real category ids in decimal, separated by commas
};
#pragma pack(pop)
static_assert(sizeof(CategoryReply) == 12);
