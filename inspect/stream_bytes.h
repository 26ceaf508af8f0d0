// The first bytes of one TCP stream, put in their places by sequence number in whatever order they come.
// Sequence numbers wrap (RFC 9293 3.4): distances are taken modulo 2^32.
//
// Works on its arguments only; whoever shares a record guards it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

// What is kept of a stream: a request line or header field of 8 KB, the most that common servers take, still
// leaves room for the Host line behind it; hellos of today have 2 KB.
constexpr uint32_t STREAM_BYTES = 16384;

using tagStreamBuffer = std::array<uint8_t, STREAM_BYTES>;

struct tagByteRange {
    uint32_t nFrom, nEnd;  // offsets
};

// Which bytes of a buffer are there. Zeroed: none.
struct tagStreamBytes {
    uint32_t nBase;                      // sequence number of the buffer's first byte
    uint32_t nRanges;                    // valid entries of ranges
    std::array<tagByteRange, 8> ranges;  // sorted, never touching each other
};

// How far sequence number nSeq lies behind nFrom; negative: before it.
inline int32_t SequenceDistance(uint32_t nSeq, uint32_t nFrom) {
    return static_cast<int32_t>(nSeq - nFrom);
}

// Puts the bytes from sequence number nSeq on into the buffer: the first ones that come settle its base;
// bytes before the base move what is there back, and what then reaches behind the buffer is lost. Of a byte
// that comes twice the first copy stays: a host sends the same bytes again, and one that does not has no need
// of segments to hide in. Returns how many bytes were new; 0 when they lie farther off than the buffer is
// long, or would leave more gaps than are kept track of.
uint32_t AddStreamBytes(tagStreamBytes& stream, tagStreamBuffer& buffer, uint32_t nSeq,
                        std::span<const uint8_t> bytes);

// The bytes from sequence number nSeq up to the first one missing; empty when that is the first.
std::span<const uint8_t> BytesFrom(const tagStreamBytes& stream, const tagStreamBuffer& buffer,
                                   uint32_t nSeq);
