#include "inspect/request_gathering.h"

#include <arpa/inet.h>
#include <netinet/ip.h>
#include <netinet/tcp.h>
#include <pthread.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "common/traffic_counters.h"
#include "inspect/connection_memory.h"
#include "inspect/request_prefix.h"

namespace {

constexpr uint32_t ORPHANS_KEPT = 4;
constexpr uint32_t LONGEST_PIECE = 65536;
constexpr uint64_t LONGEST_BODY = 1u << 30;  // whose end is still told apart by its sequence number
// More than a host sends before the first of it has left (tcp_limit_output_bytes).
constexpr int32_t RELEASED_BODY = 4 << 20;

struct tagStream {
    tagConnection connection;
    tagStreamBytes bytes;
    uint32_t nStart;    // sequence number of the request's first byte, once it came
    uint32_t nGap;      // sequence number behind the last piece of which the kernel gave only the beginning
    uint32_t nOrphans;  // pieces that came before the start
    int64_t nMetMs;     // when the last piece came
    uint64_t nTurn;     // the same as a place in the order of all pieces: many come within a millisecond
    uint8_t bUsed, bStarted, bGap;
    uint8_t bJudged;  // what it asks for was judged; its headers go on
};

struct tagBehind {
    uint8_t nKind;  // BEHIND_*
    uint32_t nNext;
};

// All of it is guarded by the lock. The bytes stand apart, so that looking for a stream touches none of them.
pthread_mutex_t g_Lock = PTHREAD_MUTEX_INITIALIZER;
tagStream g_Streams[GATHERED_STREAMS];
tagStreamBuffer g_Buffers[GATHERED_STREAMS];
uint32_t g_nStreamsUsed;
uint64_t g_nTurn;
tagConnectionMemory g_Memory;

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

tagBehind FindBehind(const tagPacketInfo& part, int64_t nNowMs);
tagBehind BehindEnd(const tagRequestEnd& end, uint32_t nSeq);
bool IsCovered(const tagDecision& known, const tagPacketInfo& piece);
bool BeginsBeforeNext(const tagPacketInfo& part, int64_t nNowMs);
void NoteBehind(const tagPacketInfo& part, const tagBehind& behind, int64_t nNowMs);
void RememberPending(const tagPacketInfo& piece, const tagPacketInfo& part, int64_t nNowMs);

int32_t PlaceIn(const tagStream& stream, const tagPacketInfo& part);
bool IsNear(int32_t nPlace);
bool IsBehindGap(const tagStream& stream, const tagPacketInfo& part);
bool IsFull(const tagStream& stream, std::span<const uint8_t> request);
uint32_t AddPiece(tagStream& stream, const tagPacketInfo& part, int64_t nNowMs);
void LeadTo(tagPacketInfo& part, std::span<const uint8_t> request, uint32_t nSeq, tagStreamBuffer& buffer);
bool LeadToOrphan(tagPacketInfo& part, uint32_t nSeq, tagStreamBuffer& buffer, int64_t nNowMs);
tagStreamBuffer& BufferOf(const tagStream& stream);
tagStream* FindStream(const tagConnection& connection, int64_t nNowMs);
tagStream& NewStream(const tagConnection& connection);
void KeepHead(const tagPacketInfo& part, int64_t nNowMs);
void EndStream(tagStream& stream);
void EndJudged(tagStream& stream);
void AbandonStream(tagStream& stream);

std::span<const uint8_t> DataOf(const tagPacketInfo& part);
uint32_t SequenceEnd(const tagPacketInfo& part);
void StepTo(tagPacketInfo& part, size_t nOffset);

}  // namespace

tagPacketInfo DataPart(const tagPacketInfo& packet) {
    tcphdr tcp;
    std::memcpy(&tcp, packet.pPacket + packet.nIPHeaderLen, sizeof tcp);
    tagPacketInfo part = packet;
    part.nSeq += tcp.syn;
    return part;
}

uint8_t GatherRequest(tagPacketInfo& part, tagStreamBuffer& buffer, int64_t nNowMs) {
    part.nStreamMark = STREAM_KEEP;
    if (part.nDataLen == 0) return GATHER_PASS;
    const tagPacketInfo piece = part;
    const uint8_t nAlone = ReadRequestPrefix(DataOf(part));

    pthread_mutex_lock(&g_Lock);
    uint8_t nAnswer = AnswerFromMemory(part, nNowMs);
    if (nAnswer == GATHER_PASS) nAnswer = Gather(part, nAlone, buffer, nNowMs);
    if (nAnswer == GATHER_JUDGE) RememberPending(piece, part, nNowMs);
    pthread_mutex_unlock(&g_Lock);
    return nAnswer;
}

uint8_t GatherNextRequest(tagPacketInfo& part, tagStreamBuffer& buffer, int64_t nNowMs) {
    const uint8_t nAlone = ReadRequestPrefix(DataOf(part));
    pthread_mutex_lock(&g_Lock);
    const uint8_t nAnswer = Gather(part, nAlone, buffer, nNowMs);
    if (nAnswer == GATHER_JUDGE) NoteBehind(part, FindBehind(part, nNowMs), nNowMs);
    pthread_mutex_unlock(&g_Lock);
    return nAnswer;
}

void RememberBlocked(const tagPacketInfo& packet, int64_t nNowMs) {
    const tagPacketInfo part = DataPart(packet);
    pthread_mutex_lock(&g_Lock);
    RememberDecision(g_Memory, {.connection = ConnectionOf(part),
                                .nSeq = part.nSeq,
                                .nEnd = part.nSeq + LONGEST_PIECE,
                                .nDecision = DECISION_BLOCKED,
                                .nMetMs = nNowMs});
    pthread_mutex_unlock(&g_Lock);
}

// What has come behind it meanwhile stays known.
void RememberAllowed(const tagPacketInfo& packet, int64_t nNowMs) {
    const tagPacketInfo part = DataPart(packet);
    pthread_mutex_lock(&g_Lock);
    const tagDecision* pKnown = FindDecision(g_Memory, ConnectionOf(part), nNowMs);
    if (pKnown && pKnown->nDecision == DECISION_PENDING && pKnown->nSeq == part.nSeq) {
        tagDecision allowed = *pKnown;
        allowed.nDecision = DECISION_ALLOWED;
        allowed.nMetMs = nNowMs;
        RememberDecision(g_Memory, allowed);
    }
    pthread_mutex_unlock(&g_Lock);
}

void AbandonOldRequests(int64_t nNowMs) {
    pthread_mutex_lock(&g_Lock);
    for (tagStream& stream : g_Streams)
        if (stream.bUsed && nNowMs - stream.nMetMs >= GATHERED_AGE_MS) AbandonStream(stream);
    pthread_mutex_unlock(&g_Lock);
}

namespace {

// GATHER_PASS: nothing is remembered that decides about these bytes.
uint8_t AnswerFromMemory(const tagPacketInfo& part, int64_t nNowMs) {
    const tagDecision* pDecision = FindDecision(g_Memory, ConnectionOf(part), nNowMs);
    if (!pDecision || pDecision->nDecision == DECISION_ALLOWED) return GATHER_PASS;
    const bool bOverlaps = SequenceDistance(SequenceEnd(part), pDecision->nSeq) > 0 &&
                           SequenceDistance(part.nSeq, pDecision->nEnd) < 0;
    if (!bOverlaps) return GATHER_PASS;
    if (pDecision->nDecision == DECISION_PENDING) return GATHER_DROP_COPY;
    tagDecision met = *pDecision;
    met.nMetMs = nNowMs;
    RememberDecision(g_Memory, met);
    return GATHER_DROP;
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
    const std::span<const uint8_t> request = BytesFrom(stream.bytes, BufferOf(stream), stream.nStart);
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
    const std::span<const uint8_t> request = BytesFrom(stream.bytes, BufferOf(stream), stream.nStart);
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
    const tagDecision* pKnown = FindDecision(g_Memory, ConnectionOf(part), nNowMs);
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

// What comes behind the last request that begins in the part.
tagBehind FindBehind(const tagPacketInfo& part, int64_t nNowMs) {
    tagPacketInfo last = part;
    for (size_t nNext; (nNext = FindNextRequest(DataOf(last))) < last.nDataLen;) {
        StepTo(last, nNext);
        if (ReadRequestPrefix(DataOf(last)) != PREFIX_ENOUGH) return {BEHIND_NEXT, last.nSeq};
    }
    const tagRequestEnd end = FindRequestEnd(DataOf(last));
    tagBehind behind = BehindEnd(end, last.nSeq);
    if (end.nKind == END_LATER && part.bCut == 0 && last.nDataLen < STREAM_BYTES) KeepHead(last, nNowMs);
    if (behind.nKind != BEHIND_NEXT) return behind;
    if (end.nOffset < last.nDataLen) {
        StepTo(last, end.nOffset);
        StepTo(last, CountLineEnds(DataOf(last)));
        behind = {last.nDataLen == 0 ? BEHIND_NEXT : BEHIND_UNKNOWN, last.nSeq};
    }
    if (behind.nKind == BEHIND_NEXT && SequenceDistance(SequenceEnd(last), behind.nNext) > 0) {
        CountTraffic(COUNT_UNJUDGED_TOO_LONG);  // something follows in what was not copied
        behind.nKind = BEHIND_UNKNOWN;
    }
    return behind;
}

tagBehind BehindEnd(const tagRequestEnd& end, uint32_t nSeq) {
    const bool bNever = end.nKind == END_NEVER || (end.nKind == END_AT && end.nOffset > LONGEST_BODY);
    if (bNever) return {BEHIND_NEVER, 0};
    if (end.nKind != END_AT) return {BEHIND_UNKNOWN, 0};
    return {BEHIND_NEXT, nSeq + static_cast<uint32_t>(end.nOffset)};
}

// Whether the piece lies before what is known to come next: sent again, or a body that looks like a request.
bool IsCovered(const tagDecision& known, const tagPacketInfo& piece) {
    return known.nBehind == BEHIND_NEXT && known.nDecision != DECISION_BLOCKED &&
           SequenceDistance(piece.nSeq, known.nSeq) >= 0 &&
           SequenceDistance(known.nNext, SequenceEnd(piece)) >= 0;
}

// The same of one that may go on behind that.
bool BeginsBeforeNext(const tagPacketInfo& part, int64_t nNowMs) {
    const tagDecision* pKnown = FindDecision(g_Memory, ConnectionOf(part), nNowMs);
    return pKnown && pKnown->nBehind == BEHIND_NEXT && SequenceDistance(pKnown->nNext, part.nSeq) > 0 &&
           SequenceDistance(part.nSeq, pKnown->nSeq) > -static_cast<int32_t>(STREAM_BYTES);
}

// Of a pending one the bytes that wait for the verdict, and the time since, stay as they are.
void NoteBehind(const tagPacketInfo& part, const tagBehind& behind, int64_t nNowMs) {
    tagDecision noted{.connection = ConnectionOf(part),
                      .nSeq = part.nSeq,
                      .nEnd = SequenceEnd(part),
                      .nDecision = DECISION_ALLOWED,
                      .nMetMs = nNowMs};
    if (const tagDecision* pKnown = FindDecision(g_Memory, noted.connection, nNowMs)) {
        const uint32_t nEnd = noted.nEnd;
        noted = *pKnown;
        if (noted.nDecision == DECISION_ALLOWED) {
            noted.nMetMs = nNowMs;
            if (behind.nKind != BEHIND_NEXT) noted.nEnd = nEnd;
        }
    }
    noted.nBehind = behind.nKind;
    noted.nNext = behind.nNext;
    RememberDecision(g_Memory, noted);
}

void RememberPending(const tagPacketInfo& piece, const tagPacketInfo& part, int64_t nNowMs) {
    const tagDecision* pKnown = FindDecision(g_Memory, ConnectionOf(part), nNowMs);
    const bool bCovered = pKnown && IsCovered(*pKnown, piece);
    const tagBehind behind = bCovered ? tagBehind{BEHIND_NEXT, pKnown->nNext} : FindBehind(part, nNowMs);
    RememberDecision(g_Memory, {ConnectionOf(piece), piece.nSeq, SequenceEnd(piece), DECISION_PENDING, nNowMs,
                                behind.nKind, behind.nNext});
}

// How far the part lies behind what is kept of its connection.
int32_t PlaceIn(const tagStream& stream, const tagPacketInfo& part) {
    return SequenceDistance(part.nSeq, stream.bStarted ? stream.nStart : stream.bytes.nBase);
}

bool IsNear(int32_t nPlace) {
    const auto nReach = static_cast<int32_t>(STREAM_BYTES);
    return -nReach < nPlace && nPlace < nReach;
}

// Whether something between it and the start has not come yet.
bool IsBehindGap(const tagStream& stream, const tagPacketInfo& part) {
    const auto begun = BytesFrom(stream.bytes, BufferOf(stream), stream.nStart);
    return SequenceDistance(part.nSeq, stream.nStart + static_cast<uint32_t>(begun.size())) > 0;
}

// Whether no more can be added to what is there of the request.
bool IsFull(const tagStream& stream, std::span<const uint8_t> request) {
    const uint32_t nEnd = stream.nStart + static_cast<uint32_t>(request.size());
    return nEnd - stream.bytes.nBase >= STREAM_BYTES || (stream.bGap && nEnd == stream.nGap);
}

// Returns how many of its bytes were new.
uint32_t AddPiece(tagStream& stream, const tagPacketInfo& part, int64_t nNowMs) {
    stream.nMetMs = nNowMs;
    stream.nTurn = ++g_nTurn;
    if (part.bCut == 1) {
        stream.nGap = part.nSeq + part.nDataLen;
        stream.bGap = 1;
    }
    return AddStreamBytes(stream.bytes, BufferOf(stream), part.nSeq, DataOf(part));
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
    const std::span<const uint8_t> request = BytesFrom(pStream->bytes, BufferOf(*pStream), nSeq);
    if (!request.empty()) LeadTo(part, request, nSeq, buffer);
    return !request.empty();
}

tagStreamBuffer& BufferOf(const tagStream& stream) {
    return g_Buffers[&stream - g_Streams];
}

// Those that are too old go on the way.
tagStream* FindStream(const tagConnection& connection, int64_t nNowMs) {
    uint32_t nLeft = g_nStreamsUsed;
    for (tagStream* p = g_Streams; nLeft > 0; ++p) {
        if (!p->bUsed) continue;
        --nLeft;
        if (nNowMs - p->nMetMs >= GATHERED_AGE_MS) {
            AbandonStream(*p);
        } else if (p->connection == connection) {
            return p;
        }
    }
    return nullptr;
}

// The first free one, so that a quiet host touches little memory; else the oldest.
tagStream& NewStream(const tagConnection& connection) {
    tagStream* pOldest = g_Streams;
    for (tagStream& stream : g_Streams) {
        if (stream.nTurn < pOldest->nTurn || !stream.bUsed) pOldest = &stream;
        if (!stream.bUsed) break;
    }
    if (pOldest->bUsed) AbandonStream(*pOldest);
    *pOldest = {};
    pOldest->connection = connection;
    pOldest->bUsed = 1;
    ++g_nStreamsUsed;
    return *pOldest;
}

// Keeps a request whose headers go on while it is judged.
void KeepHead(const tagPacketInfo& part, int64_t nNowMs) {
    tagStream* pStream = FindStream(ConnectionOf(part), nNowMs);
    tagStream& stream = pStream ? *pStream : NewStream(ConnectionOf(part));
    stream.nStart = part.nSeq;
    stream.bStarted = stream.bJudged = 1;
    AddPiece(stream, part, nNowMs);
}

void EndStream(tagStream& stream) {
    stream.bUsed = 0;
    --g_nStreamsUsed;
}

// What came behind a gap stays for the request that the gap belongs to.
void EndJudged(tagStream& stream) {
    if (stream.bytes.nRanges <= 1) return EndStream(stream);
    stream.bStarted = stream.bJudged = 0;
    stream.nOrphans = 0;
}

// Ends one whose request, or what came behind its headers, was never judged.
void AbandonStream(tagStream& stream) {
    if (stream.bStarted && (!stream.bJudged || stream.bytes.nRanges > 1)) {
        CountTraffic(COUNT_UNJUDGED_INCOMPLETE);
    }
    EndStream(stream);
}

std::span<const uint8_t> DataOf(const tagPacketInfo& part) {
    return {part.pData, part.nDataLen};
}

// Behind the last byte of the piece as it was sent, of which the kernel may have given only the beginning;
// of what was put together with such a piece, somewhere behind what is there.
uint32_t SequenceEnd(const tagPacketInfo& part) {
    uint32_t nLength = part.nDataLen;
    if (part.bCut == 1) {
        const auto nHeaders =
            reinterpret_cast<uintptr_t>(part.pData) - reinterpret_cast<uintptr_t>(part.pPacket);
        uint16_t nTotal;
        std::memcpy(&nTotal, part.pPacket + offsetof(iphdr, tot_len), sizeof nTotal);
        const bool bWithin = nHeaders <= part.nPacketLen && ntohs(nTotal) > nHeaders + nLength;
        nLength = bWithin ? static_cast<uint32_t>(ntohs(nTotal) - nHeaders) : nLength + 1;
    }
    return part.nSeq + nLength;
}

void StepTo(tagPacketInfo& part, size_t nOffset) {
    part.pData += nOffset;
    part.nDataLen = static_cast<uint16_t>(part.nDataLen - nOffset);
    part.nSeq += static_cast<uint32_t>(nOffset);
}

}  // namespace
