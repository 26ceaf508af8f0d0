// What was decided about connections lately, so that the pieces that follow a decision need none of their
// own.
//
// Bounded: a fixed table that forgets what it has not met for the longest time. Works on its arguments only;
// whoever shares a memory guards it.
#pragma once

#include <array>
#include <cstdint>

#include "intercept/packet_info.h"

struct tagConnection {
    uint32_t nSrcAddr, nDstAddr;  // IPv4, network order
    uint16_t nSrcPort, nDstPort;  // host order
    bool operator==(const tagConnection&) const = default;
};

inline tagConnection ConnectionOf(const tagPacketInfo& packet) {
    return {packet.nSrcAddr, packet.nDstAddr, packet.nSrcPort, packet.nDstPort};
}

enum : uint8_t {
    DECISION_NONE,     // the entry is free
    DECISION_PENDING,  // the bytes from nSeq to nEnd wait for their verdict
    DECISION_ALLOWED,  // the request whose last known byte lies before nEnd may pass
    DECISION_BLOCKED,  // nothing from nSeq to nEnd may reach the server
};

// What the connection sends behind a request that is pending or allowed.
enum : uint8_t {
    BEHIND_UNKNOWN,  // cannot be told
    BEHIND_NEXT,     // the next request begins at nNext; up to there it is one body
    BEHIND_NEVER,    // no request for as long as it lives, or not within reach of a sequence number
};

struct tagDecision {
    tagConnection connection;
    uint32_t nSeq, nEnd;  // sequence numbers
    uint8_t nDecision;    // DECISION_*
    int64_t nMetMs;       // when it was made or last met
    uint8_t nBehind = BEHIND_UNKNOWN;
    uint32_t nNext = 0;  // sequence number
};

// A verdict comes soon, or never. A sender may rest within a body. A block is remembered for as long as a
// sender waits between two attempts to send the same bytes, at most: each one met starts that anew.
constexpr int64_t PENDING_AGE_MS = 5'000;
constexpr int64_t ALLOWED_AGE_MS = 60'000;
constexpr int64_t BLOCKED_AGE_MS = 120'000;

constexpr uint32_t MEMORY_SETS = 256;  // one for each value of a byte
constexpr uint32_t MEMORY_SET_SIZE = 4;

// Each set begins with what was remembered last; the end is forgotten first.
using tagConnectionMemory = std::array<std::array<tagDecision, MEMORY_SET_SIZE>, MEMORY_SETS>;

// Lets the processor fetch what is remembered about the connection beside other work: it was last touched
// many packets ago, unless the connection is a busy one.
void PrefetchDecision(const tagConnectionMemory& memory, const tagConnection& connection);

// The decision remembered about the connection, or null.
const tagDecision* FindDecision(const tagConnectionMemory& memory, const tagConnection& connection,
                                int64_t nNowMs);

// Remembers it in place of what was known of the connection; but a block is replaced by a block alone, and
// two blocks become one that covers both as far as they lie within reach of each other.
void RememberDecision(tagConnectionMemory& memory, const tagDecision& decision);
