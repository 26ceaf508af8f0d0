#include "inspect/request_gathering.h"

#include <pthread.h>

#include <algorithm>
#include <span>

#include "common/traffic_counters.h"
#include "inspect/judged_requests.h"
#include "inspect/request_prefix.h"

namespace {

constexpr uint32_t ORPHANS_KEPT = STREAM_BYTES / 1360;  // what a buffer holds of full segments
// More than a host sends before the first of it has left (tcp_limit_output_bytes).
constexpr int32_t RELEASED_BODY = 4 << 20;

pthread_mutex_t g_Lock = PTHREAD_MUTEX_INITIALIZER;  // guards the streams and what was judged

uint8_t AnswerFromMemory(const tagPacketInfo& part, int64_t nNowMs);
uint8_t Gather(tagPacketInfo& part, uint8_t nAlone, tagStreamBuffer& buffer, int64_t nNowMs);
uint8_t JoinStream(tagStream& stream, tagPacketInfo& part, uint8_t nAlone, tagStreamBuffer& buffer,
                   int64_t nNowMs);
uint8_t JoinHead(tagStream& stream, tagPacketInfo& part, uint8_t nAlone, tagStreamBuffer& buffer,
                 int64_t nNowMs);
uint8_t CountOrphan(tagStream& stream, tagPacketInfo& part, int64_t nNowMs);
uint8_t TakeAlone(tagPacketInfo& part, uint8_t nAlone, tagStreamBuffer& buffer, int64_t nNowMs);
uint8_t TakeOther(tagPacketInfo& part, tagStreamBuffer& buffer, int64_t nNowMs);
uint8_t TakeBehind(tagPacketInfo& part, const tagDecision& known, tagStreamBuffer& buffer, int64_t nNowMs);
uint8_t TakeNext(tagPacketInfo& part, tagStreamBuffer& buffer, int64_t nNowMs);
uint8_t TakeOrphan(tagPacketInfo& part, int64_t nNowMs);
uint8_t PassTooLong(const tagPacketInfo& part, int64_t nNowMs);
uint8_t PassUnjudged(tagPacketInfo& part, uint8_t nPrefix, int64_t nNowMs);
uint8_t Release(tagPacketInfo& part);

tagRequestEnd EndOfFirst(tagPacketInfo& part);
void LeadTo(tagPacketInfo& part, std::span<const uint8_t> request, uint32_t nSeq, tagStreamBuffer& buffer);
bool LeadToOrphan(tagPacketInfo& part, uint32_t nSeq, tagStreamBuffer& buffer, int64_t nNowMs);

}  // namespace

uint8_t GatherRequest(tagPacketInfo& part, tagStreamBuffer& buffer, int64_t nNowMs) {
    part.nStreamMark = STREAM_KEEP;
    if (part.nDataLen == 0) return GATHER_PASS;
    ExpectJudged(part);
    const tagPacketInfo piece = part;
    const uint8_t nAlone = ReadRequestPrefix(DataOf(part));

    pthread_mutex_lock(&g_Lock);
    uint8_t nAnswer = AnswerFromMemory(part, nNowMs);
    if (nAnswer == GATHER_PASS) nAnswer = Gather(part, nAlone, buffer, nNowMs);
    if (nAnswer == GATHER_JUDGE) {
        const tagRequestEnd end = EndOfFirst(part);
        NotePending(piece, part, end, nNowMs);
    }
    pthread_mutex_unlock(&g_Lock);
    return nAnswer;
}

uint8_t GatherNextRequest(tagPacketInfo& part, tagStreamBuffer& buffer, int64_t nNowMs) {
    const uint8_t nAlone = ReadRequestPrefix(DataOf(part));
    pthread_mutex_lock(&g_Lock);
    const uint8_t nAnswer = Gather(part, nAlone, buffer, nNowMs);
    if (nAnswer == GATHER_JUDGE) {
        const tagRequestEnd end = EndOfFirst(part);
        NoteRequests(part, end, nNowMs);
    }
    pthread_mutex_unlock(&g_Lock);
    return nAnswer;
}

void RememberBlocked(const tagPacketInfo& packet, int64_t nNowMs) {
    pthread_mutex_lock(&g_Lock);
    NoteBlocked(DataPart(packet), nNowMs);
    pthread_mutex_unlock(&g_Lock);
}

void RememberAllowed(const tagPacketInfo& packet, int64_t nNowMs) {
    pthread_mutex_lock(&g_Lock);
    NoteAllowed(DataPart(packet), nNowMs);
    pthread_mutex_unlock(&g_Lock);
}

void AbandonOldRequests(int64_t nNowMs) {
    pthread_mutex_lock(&g_Lock);
    AbandonOldStreams(nNowMs);
    pthread_mutex_unlock(&g_Lock);
}

namespace {

// GATHER_PASS: nothing is remembered that decides about these bytes.
uint8_t AnswerFromMemory(const tagPacketInfo& part, int64_t nNowMs) {
    const uint8_t nDecision = MeetDecision(part, nNowMs);
    if (nDecision == DECISION_NONE) return GATHER_PASS;
    return nDecision == DECISION_PENDING ? GATHER_DROP_COPY : GATHER_DROP;
}

// nAlone: what the piece tells by itself, PREFIX_*. A start far off what is kept belongs to a new connection
// with the same ports, or what is kept was never the beginning of a request.
uint8_t Gather(tagPacketInfo& part, uint8_t nAlone, tagStreamBuffer& buffer, int64_t nNowMs) {
    if (nAlone == PREFIX_MORE && BeginsBeforeNext(part, nNowMs)) return TakeOther(part, buffer, nNowMs);
    tagStream* pStream = FindStream(ConnectionOf(part), nNowMs);
    if (!pStream) return TakeAlone(part, nAlone, buffer, nNowMs);
    const int32_t nPlace = PlaceIn(*pStream, part);
    const bool bNear = IsNear(nPlace);
    const bool bInStream = bNear && pStream->bStarted && nPlace >= 0;
    if (nAlone == PREFIX_OTHER && !bInStream) return TakeAlone(part, nAlone, buffer, nNowMs);
    if (!bNear) AbandonStream(*pStream);
    if (!bNear || (pStream->bStarted && nPlace < 0 && nAlone != PREFIX_MORE)) {
        return TakeAlone(part, nAlone, buffer, nNowMs);
    }
    if (nAlone == PREFIX_ENOUGH && bInStream && IsBehindGap(*pStream, part)) {
        return TakeAlone(part, nAlone, buffer, nNowMs);
    }
    if (pStream->bJudged && nPlace >= 0) return JoinHead(*pStream, part, nAlone, buffer, nNowMs);
    return JoinStream(*pStream, part, nAlone, buffer, nNowMs);
}

uint8_t JoinStream(tagStream& stream, tagPacketInfo& part, uint8_t nAlone, tagStreamBuffer& buffer,
                   int64_t nNowMs) {
    if (!stream.bStarted || SequenceDistance(part.nSeq, stream.nStart) < 0) stream.nStart = part.nSeq;
    stream.bStarted = 1;
    stream.bJudged = 0;
    AddPiece(stream, part, nNowMs);
    const std::span<const uint8_t> request = BytesFrom(stream, stream.nStart);
    switch (const uint8_t nPrefix = ReadRequestPrefix(request); nPrefix) {
        case PREFIX_MORE:
            part.nStreamMark = STREAM_WATCH;
            if (!IsFull(stream, request)) return GATHER_WAIT;
            part.nStreamMark = STREAM_KEEP;
            EndStream(stream);
            return PassTooLong(part, nNowMs);
        case PREFIX_ENOUGH:
            if (part.nSeq != stream.nStart || request.size() > part.nDataLen) CountTraffic(COUNT_GATHERED);
            LeadTo(part, request, stream.nStart, buffer);
            EndJudged(stream);
            return GATHER_JUDGE;
        case PREFIX_OTHER:  // what looked like the start of a request was none
            stream.bStarted = 0;
            if (nAlone == PREFIX_OTHER) return CountOrphan(stream, part, nNowMs);
            EndStream(stream);
            return TakeAlone(part, nAlone, buffer, nNowMs);
        default:
            EndStream(stream);
            return PassUnjudged(part, nPrefix, nNowMs);
    }
}

// A piece of the headers behind what was judged. With the last one it is known where the next request begins.
uint8_t JoinHead(tagStream& stream, tagPacketInfo& part, uint8_t nAlone, tagStreamBuffer& buffer,
                 int64_t nNowMs) {
    if (nAlone != PREFIX_OTHER && nAlone != PREFIX_MORE) return TakeAlone(part, nAlone, buffer, nNowMs);
    AddPiece(stream, part, nNowMs);
    const std::span<const uint8_t> request = BytesFrom(stream, stream.nStart);
    const tagRequestEnd end = FindRequestEnd(request);
    if (end.nKind == END_LATER && !IsFull(stream, request)) return GATHER_PASS;
    NoteBehind(part, BehindEnd(end, stream.nStart), nNowMs);
    const uint32_t nStart = stream.nStart;
    EndJudged(stream);
    if (end.nKind != END_AT || end.nOffset >= request.size()) return GATHER_PASS;
    LeadTo(part, request.subspan(end.nOffset), nStart + static_cast<uint32_t>(end.nOffset), buffer);
    return TakeNext(part, buffer, nNowMs);
}

uint8_t CountOrphan(tagStream& stream, tagPacketInfo& part, int64_t nNowMs) {
    if (++stream.nOrphans <= ORPHANS_KEPT) return GATHER_PASS;
    EndStream(stream);
    CountTraffic(COUNT_UNJUDGED_INCOMPLETE);
    NoteBehind(part, {BEHIND_UNKNOWN, 0}, nNowMs);
    return GATHER_PASS;
}

// A piece that none of what is kept of its connection belongs to.
uint8_t TakeAlone(tagPacketInfo& part, uint8_t nAlone, tagStreamBuffer& buffer, int64_t nNowMs) {
    if (nAlone == PREFIX_ENOUGH) return GATHER_JUDGE;
    if (nAlone == PREFIX_OTHER) return TakeOther(part, buffer, nNowMs);
    if (nAlone != PREFIX_MORE) return PassUnjudged(part, nAlone, nNowMs);
    if (part.bCut == 1 || part.nDataLen >= STREAM_BYTES) return PassTooLong(part, nNowMs);
    tagStream& stream = NewStream(ConnectionOf(part));
    stream.nStart = part.nSeq;
    stream.bStarted = 1;
    AddPiece(stream, part, nNowMs);
    part.nStreamMark = STREAM_WATCH;
    return GATHER_WAIT;
}

// Not the start of anything: the rest of what was judged, perhaps with the next request behind it, or else a
// piece that overtook its start.
uint8_t TakeOther(tagPacketInfo& part, tagStreamBuffer& buffer, int64_t nNowMs) {
    const tagDecision* pKnown = FindJudged(part, nNowMs);
    return pKnown ? TakeBehind(part, tagDecision(*pKnown), buffer, nNowMs) : TakeOrphan(part, nNowMs);
}

uint8_t TakeBehind(tagPacketInfo& part, const tagDecision& known, tagStreamBuffer& buffer, int64_t nNowMs) {
    const bool bAllowed = known.nDecision == DECISION_ALLOWED;
    const auto nReach = static_cast<int32_t>(LONGEST_PIECE);
    if (known.nBehind != BEHIND_NEXT) {
        const int32_t nBehind = SequenceDistance(part.nSeq, known.nEnd);
        if (nBehind < -nReach || nBehind >= nReach) return TakeOrphan(part, nNowMs);
        NoteBehind(part, {known.nBehind, known.nNext}, nNowMs);
        const bool bRelease = bAllowed && known.nBehind == BEHIND_NEVER && nBehind >= 0;
        return bRelease ? Release(part) : uint8_t{GATHER_PASS};
    }
    const int32_t nToNext = SequenceDistance(known.nNext, part.nSeq);
    if (nToNext < 0 || SequenceDistance(part.nSeq, known.nSeq) < -nReach) return TakeOrphan(part, nNowMs);
    const int32_t nLeft = SequenceDistance(known.nNext, SequenceEnd(part));
    if (nLeft < 0) {
        if (nToNext >= part.nDataLen) return PassTooLong(part, nNowMs);  // it begins in what was not copied
        StepTo(part, static_cast<size_t>(nToNext));
        return TakeNext(part, buffer, nNowMs);
    }
    NoteBehind(part, {BEHIND_NEXT, known.nNext}, nNowMs);
    if (LeadToOrphan(part, known.nNext, buffer, nNowMs)) return TakeNext(part, buffer, nNowMs);
    return bAllowed && nLeft >= RELEASED_BODY ? Release(part) : uint8_t{GATHER_PASS};
}

// The part begins behind the end of a request.
uint8_t TakeNext(tagPacketInfo& part, tagStreamBuffer& buffer, int64_t nNowMs) {
    StepTo(part, CountLineEnds(DataOf(part)));
    NoteBehind(part, {BEHIND_NEXT, part.nSeq}, nNowMs);
    if (part.nDataLen == 0) return GATHER_PASS;
    const uint8_t nPrefix = ReadRequestPrefix(DataOf(part));
    if (nPrefix != PREFIX_OTHER) return Gather(part, nPrefix, buffer, nNowMs);
    NoteBehind(part, {BEHIND_UNKNOWN, 0}, nNowMs);
    return GATHER_PASS;
}

uint8_t TakeOrphan(tagPacketInfo& part, int64_t nNowMs) {
    tagStream* pStream = FindStream(ConnectionOf(part), nNowMs);
    if (pStream && pStream->bStarted) return GATHER_PASS;  // it lies elsewhere
    if (pStream && !IsNear(PlaceIn(*pStream, part))) {
        EndStream(*pStream);
        pStream = nullptr;
    }
    tagStream& stream = pStream ? *pStream : NewStream(ConnectionOf(part));
    if (AddPiece(stream, part, nNowMs) == 0) return GATHER_PASS;  // sent again
    return CountOrphan(stream, part, nNowMs);
}

uint8_t PassTooLong(const tagPacketInfo& part, int64_t nNowMs) {
    CountTraffic(COUNT_UNJUDGED_TOO_LONG);
    NoteBehind(part, {BEHIND_UNKNOWN, 0}, nNowMs);
    return GATHER_PASS;
}

// A hello.
uint8_t PassUnjudged(tagPacketInfo& part, uint8_t nPrefix, int64_t nNowMs) {
    CountTraffic(nPrefix == PREFIX_NO_NAME ? COUNT_UNJUDGED_NO_NAME : COUNT_UNJUDGED_DAMAGED);
    NoteBehind(part, {BEHIND_NEVER, 0}, nNowMs);
    return Release(part);
}

uint8_t Release(tagPacketInfo& part) {
    part.nStreamMark = STREAM_RELEASE;
    return GATHER_PASS;
}

// Of the request that the part begins with; notes where the next one begins.
tagRequestEnd EndOfFirst(tagPacketInfo& part) {
    const tagRequestEnd end = FindRequestEnd(DataOf(part));
    part.nNextRequest = static_cast<uint16_t>(FindNextRequest(DataOf(part), end));
    return end;
}

// Makes the part one that begins at nSeq.
void LeadTo(tagPacketInfo& part, std::span<const uint8_t> request, uint32_t nSeq, tagStreamBuffer& buffer) {
    std::copy(request.begin(), request.end(), buffer.begin());
    part.pData = buffer.data();
    part.nDataLen = static_cast<uint16_t>(request.size());
    part.nSeq = nSeq;
}

// Whether there is something at that place already, which came too early; it is judged with this piece.
bool LeadToOrphan(tagPacketInfo& part, uint32_t nSeq, tagStreamBuffer& buffer, int64_t nNowMs) {
    const tagStream* pStream = FindStream(ConnectionOf(part), nNowMs);
    if (!pStream || pStream->bStarted) return false;
    const std::span<const uint8_t> request = BytesFrom(*pStream, nSeq);
    if (!request.empty()) LeadTo(part, request, nSeq, buffer);
    return !request.empty();
}

}  // namespace
