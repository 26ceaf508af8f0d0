#include "inspect/stream_bytes.h"

#include <algorithm>
#include <cstring>

namespace {

void MoveBack(tagStreamBytes& stream, tagStreamBuffer& buffer, uint32_t nBytes);
uint32_t FillGaps(const tagStreamBytes& stream, tagStreamBuffer& buffer, tagByteRange part,
                  std::span<const uint8_t> bytes);
bool HasRoomFor(const tagStreamBytes& stream, tagByteRange part);
void MergeRange(tagStreamBytes& stream, tagByteRange part);

}  // namespace

uint32_t AddStreamBytes(tagStreamBytes& stream, tagStreamBuffer& buffer, uint32_t nSeq,
                        std::span<const uint8_t> bytes) {
    if (stream.nRanges == 0) stream.nBase = nSeq;
    int64_t nFrom = SequenceDistance(nSeq, stream.nBase);
    if (bytes.empty() || nFrom >= STREAM_BYTES || -nFrom >= STREAM_BYTES) return 0;
    if (nFrom < 0) {
        MoveBack(stream, buffer, static_cast<uint32_t>(-nFrom));
        nFrom = 0;
    }
    const auto nStart = static_cast<uint32_t>(nFrom);
    const tagByteRange part{nStart, std::min(nStart + static_cast<uint32_t>(bytes.size()), STREAM_BYTES)};
    if (!HasRoomFor(stream, part)) return 0;
    const uint32_t nNew = FillGaps(stream, buffer, part, bytes);
    MergeRange(stream, part);
    return nNew;
}

std::span<const uint8_t> BytesFrom(const tagStreamBytes& stream, const tagStreamBuffer& buffer,
                                   uint32_t nSeq) {
    const uint32_t nFrom = nSeq - stream.nBase;
    for (const tagByteRange& range : std::span(stream.ranges).first(stream.nRanges)) {
        if (range.nFrom <= nFrom && nFrom < range.nEnd)
            return std::span(buffer).subspan(nFrom, range.nEnd - nFrom);
    }
    return {};
}

namespace {

void MoveBack(tagStreamBytes& stream, tagStreamBuffer& buffer, uint32_t nBytes) {
    std::memmove(buffer.data() + nBytes, buffer.data(), STREAM_BYTES - nBytes);
    stream.nBase -= nBytes;
    uint32_t nKept = 0;
    for (tagByteRange range : std::span(stream.ranges).first(stream.nRanges)) {
        range.nFrom += nBytes;
        range.nEnd = std::min(range.nEnd + nBytes, STREAM_BYTES);
        if (range.nFrom < range.nEnd) stream.ranges[nKept++] = range;
    }
    stream.nRanges = nKept;
}

// Copies what is not there yet; returns how much that was.
uint32_t FillGaps(const tagStreamBytes& stream, tagStreamBuffer& buffer, tagByteRange part,
                  std::span<const uint8_t> bytes) {
    uint32_t nNew = 0;
    uint32_t nNext = part.nFrom;
    const auto copyTo = [&](uint32_t nEnd) {
        if (nNext >= nEnd) return;
        std::memcpy(buffer.data() + nNext, bytes.data() + (nNext - part.nFrom), nEnd - nNext);
        nNew += nEnd - nNext;
    };
    for (const tagByteRange& range : std::span(stream.ranges).first(stream.nRanges)) {
        copyTo(std::min(range.nFrom, part.nEnd));
        nNext = std::max(nNext, range.nEnd);
    }
    copyTo(part.nEnd);
    return nNew;
}

bool Touches(const tagByteRange& a, const tagByteRange& b) {
    return a.nFrom <= b.nEnd && b.nFrom <= a.nEnd;
}

bool HasRoomFor(const tagStreamBytes& stream, tagByteRange part) {
    if (stream.nRanges < stream.ranges.size()) return true;
    return std::any_of(stream.ranges.begin(), stream.ranges.end(),
                       [&](const tagByteRange& range) { return Touches(range, part); });
}

void MergeRange(tagStreamBytes& stream, tagByteRange part) {
    uint32_t nKept = 0;
    for (const tagByteRange range : std::span(stream.ranges).first(stream.nRanges)) {
        if (Touches(range, part)) {
            part = {std::min(range.nFrom, part.nFrom), std::max(range.nEnd, part.nEnd)};
        } else {
            stream.ranges[nKept++] = range;
        }
    }
    stream.ranges[nKept++] = part;
    std::sort(stream.ranges.begin(), stream.ranges.begin() + nKept,
              [](const tagByteRange& a, const tagByteRange& b) { return a.nFrom < b.nFrom; });
    stream.nRanges = nKept;
}

}  // namespace
