// The input is a script of pieces of two connections: for each piece a byte of flags, two bytes of sequence
// number, a byte of length in units of four, then its data. Every byte that is judged must have been sent at
// its place in the stream.
#include <span>
#include <vector>

#include "common/byte_cursor.h"
#include "inspect/hello_prefix.h"
#include "inspect/request_gathering.h"
#include "inspect/request_prefix.h"
#include "tests/fuzz/fuzz_segment.h"

namespace {

enum : uint8_t { OTHER_CONNECTION = 1, CUT = 2, BLOCK = 4, LATER = 8, FAR = 16, SYN = 32 };

struct tagSentPiece {
    uint32_t nSeq;
    std::span<const uint8_t> bytes;
};

size_t CountSent(const tagSentPiece& piece, uint32_t nSeq, std::span<const uint8_t> bytes) {
    const uint32_t nAt = nSeq - piece.nSeq;
    if (nAt >= piece.bytes.size()) return 0;
    const auto known = piece.bytes.subspan(nAt);
    const auto [pEnd, unused] = std::mismatch(bytes.begin(), bytes.end(), known.begin(), known.end());
    return static_cast<size_t>(pEnd - bytes.begin());
}

void RequireSent(const std::vector<tagSentPiece>& sent, uint32_t nSeq, std::span<const uint8_t> bytes) {
    while (!bytes.empty()) {
        size_t nSent = 0;
        for (const tagSentPiece& piece : sent)
            nSent = std::max(nSent, CountSent(piece, nSeq, bytes));
        Require(nSent != 0);
        nSeq += static_cast<uint32_t>(nSent);
        bytes = bytes.subspan(nSent);
    }
}

void CheckPrefix(std::span<const uint8_t> data) {
    const uint8_t nPrefix = ReadRequestPrefix(data);
    const size_t nNext = FindNextRequest(data, FindRequestEnd(data));
    Require(nNext <= data.size() && (data.empty() || nNext > 0));
    // Less is never enough where all of it is not.
    const uint8_t nHalf = ReadRequestPrefix(data.first(data.size() / 2));
    if (nHalf != PREFIX_MORE && !data.first(data.size() / 2).empty()) Require(nHalf == nPrefix);
    char szName[256];
    if (FindHelloName(data, szName) == PREFIX_ENOUGH) RequireText(szName);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    static int64_t s_nNowMs = 1'000'000;
    s_nNowMs += 1'000'000;  // nothing of the last input is remembered
    tagByteCursor script{pData, static_cast<uint32_t>(nSize), 0, 0};
    std::vector<tagSentPiece> sent[2];  // of each connection
    while (BytesLeft(script) >= 4) {
        const uint8_t nFlags = ReadU8(script);
        const uint32_t nOffset = ReadU16(script);
        const uint32_t nLength = std::min(ReadU8(script) * 4u + 1, BytesLeft(script));
        const uint8_t* pBytes = TakeBytes(script, nLength);
        if (!pBytes) break;
        if (nFlags & LATER) s_nNowMs += GATHERED_AGE_MS / 2;

        uint8_t packet[40 + 1100] = {};
        packet[2] = 0xFF;  // a total length longer than what is there
        if (nFlags & SYN) packet[20 + 13] = 2;
        std::memcpy(packet + 40, pBytes, nLength);
        tagPacketInfo info{};
        info.pPacket = packet;
        info.nIPHeaderLen = 20;
        info.nSrcPort = nFlags & OTHER_CONNECTION;
        info.nSeq = (nFlags & FAR ? 0x40000000 : 0xFFFFF000) + nOffset;
        info.nDataLen = static_cast<uint16_t>(nLength);
        info.pData = packet + 40;
        info.nPacketLen = static_cast<uint16_t>(40 + nLength);
        info.bCut = (nFlags & CUT) != 0;

        static tagStreamBuffer s_Buffer;
        tagPacketInfo part = DataPart(info);
        auto& known = sent[info.nSrcPort];
        known.push_back({part.nSeq, {pBytes, nLength}});
        CheckPrefix({part.pData, nLength});
        uint8_t nAnswer = GatherRequest(part, s_Buffer, s_nNowMs);
        const uint8_t MARKS[] = {STREAM_KEEP, nAnswer == GATHER_WAIT ? STREAM_WATCH : STREAM_RELEASE};
        Require(part.nStreamMark == MARKS[0] || (part.nStreamMark == MARKS[1] && nAnswer != GATHER_JUDGE));
        const bool bJudged = nAnswer == GATHER_JUDGE;
        while (nAnswer == GATHER_JUDGE) {
            const std::span<const uint8_t> judged(part.pData, part.nDataLen);
            Require(ReadRequestPrefix(judged) == PREFIX_ENOUGH);
            RequireSent(known, part.nSeq, judged);
            const size_t nNext = FindNextRequest(judged, FindRequestEnd(judged));
            Require(part.nNextRequest == nNext);
            if (nNext == judged.size()) break;
            part.pData += nNext;
            part.nDataLen = static_cast<uint16_t>(part.nDataLen - nNext);
            part.nSeq += static_cast<uint32_t>(nNext);
            nAnswer = GatherNextRequest(part, s_Buffer, s_nNowMs);
        }
        if (bJudged && (nFlags & BLOCK)) RememberBlocked(info, s_nNowMs);
        if (bJudged && !(nFlags & BLOCK)) RememberAllowed(info, s_nNowMs);
    }
    return 0;
}
