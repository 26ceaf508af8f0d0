// The part of a dissected packet that holds data: a copy of its record that leads to bytes of the request, in
// the packet or elsewhere, and whose nSeq is the sequence number of the first of them.
//
// Works on its arguments only; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "intercept/packet_info.h"

// A SYN takes a number for itself.
tagPacketInfo DataPart(const tagPacketInfo& packet);

inline std::span<const uint8_t> DataOf(const tagPacketInfo& part) {
    return {part.pData, part.nDataLen};
}

// Behind the last byte of the piece as it was sent, of which the kernel may have given only the beginning;
// of what was put together with such a piece, somewhere behind what is there.
uint32_t SequenceEnd(const tagPacketInfo& part);

// Leaves the first nOffset bytes out, at most nDataLen.
void StepTo(tagPacketInfo& part, size_t nOffset);
