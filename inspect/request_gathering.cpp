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

constexpr uint32_t ORPHANS_KEPT = 2;
constexpr uint32_t LONGEST_PIECE = 65536;

struct tagStream {
    tagConnection connection;
    tagStreamBytes bytes;
    uint32_t nStart;    // sequence number of the request's first byte, once it came
    uint32_t nGap;      // sequence number behind the last piece of which the kernel gave only the beginning
    uint32_t nOrphans;  // pieces that came before the start
    int64_t nMetMs;     // when the last piece came
    uint64_t nTurn;     // the same as a place in the order of all pieces: many come within a millisecond
    uint8_t bUsed, bStarted, bGap;
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
uint8_t JudgeGathered(tagPacketInfo& part, std::span<const uint8_t> request, uint32_t nSeq,
                      tagStreamBuffer& buffer);
uint8_t JoinOrphans(tagStream& stream, tagPacketInfo& part, int64_t nNowMs);
uint8_t CountOrphan(tagStream& stream, tagPacketInfo& part);
uint8_t TakeAlone(tagPacketInfo& part, uint8_t nAlone, int64_t nNowMs);
uint8_t TakeUnknown(tagPacketInfo& part, int64_t nNowMs);
uint8_t PassUnjudged(tagPacketInfo& part, uint8_t nPrefix);
uint8_t Release(tagPacketInfo& part);

bool IsPieceOf(const tagStream& stream, const tagPacketInfo& part, uint8_t nAlone);
uint32_t AddPiece(tagStream& stream, const tagPacketInfo& part, int64_t nNowMs);
tagStreamBuffer& BufferOf(const tagStream& stream);
tagStream* FindStream(const tagConnection& connection, int64_t nNowMs);
tagStream& NewStream(const tagConnection& connection);
void EndStream(tagStream& stream);
void AbandonStream(tagStream& stream);

std::span<const uint8_t> DataOf(const tagPacketInfo& part);
uint32_t SequenceEnd(const tagPacketInfo& part);
void Remember(const tagPacketInfo& part, uint8_t nDecision, uint32_t nEnd, int64_t nNowMs);

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
    if (nAnswer == GATHER_JUDGE) Remember(piece, DECISION_PENDING, SequenceEnd(piece), nNowMs);
    pthread_mutex_unlock(&g_Lock);
    return nAnswer;
}

uint8_t GatherNextRequest(tagPacketInfo& part, tagStreamBuffer& buffer, int64_t nNowMs) {
    const uint8_t nAlone = ReadRequestPrefix(DataOf(part));
    pthread_mutex_lock(&g_Lock);
    const uint8_t nAnswer = Gather(part, nAlone, buffer, nNowMs);
    pthread_mutex_unlock(&g_Lock);
    return nAnswer;
}

void RememberBlocked(const tagPacketInfo& packet, int64_t nNowMs) {
    const tagPacketInfo part = DataPart(packet);
    pthread_mutex_lock(&g_Lock);
    Remember(part, DECISION_BLOCKED, part.nSeq + LONGEST_PIECE, nNowMs);
    pthread_mutex_unlock(&g_Lock);
}

void RememberAllowed(const tagPacketInfo& packet, int64_t nNowMs) {
    const tagPacketInfo part = DataPart(packet);
    pthread_mutex_lock(&g_Lock);
    Remember(part, DECISION_ALLOWED, SequenceEnd(part), nNowMs);
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

// nAlone: what the piece tells by itself, PREFIX_*.
uint8_t Gather(tagPacketInfo& part, uint8_t nAlone, tagStreamBuffer& buffer, int64_t nNowMs) {
    tagStream* pStream = FindStream(ConnectionOf(part), nNowMs);
    if (!pStream) return TakeAlone(part, nAlone, nNowMs);
    if (!IsPieceOf(*pStream, part, nAlone)) {
        if (nAlone == PREFIX_OTHER) return GATHER_PASS;
        AbandonStream(*pStream);
        return TakeAlone(part, nAlone, nNowMs);
    }
    if (!pStream->bStarted && nAlone == PREFIX_OTHER) return JoinOrphans(*pStream, part, nNowMs);
    return JoinStream(*pStream, part, nAlone, buffer, nNowMs);
}

uint8_t JoinStream(tagStream& stream, tagPacketInfo& part, uint8_t nAlone, tagStreamBuffer& buffer,
                   int64_t nNowMs) {
    if (!stream.bStarted || SequenceDistance(part.nSeq, stream.nStart) < 0) stream.nStart = part.nSeq;
    stream.bStarted = 1;
    AddPiece(stream, part, nNowMs);
    const std::span<const uint8_t> request = BytesFrom(stream.bytes, BufferOf(stream), stream.nStart);
    const uint32_t nEnd = stream.nStart + static_cast<uint32_t>(request.size());
    uint8_t nAnswer = GATHER_WAIT;
    switch (const uint8_t nPrefix = ReadRequestPrefix(request); nPrefix) {
        case PREFIX_MORE:
            if (nEnd - stream.bytes.nBase < STREAM_BYTES && !(stream.bGap && nEnd == stream.nGap))
                return nAnswer;
            CountTraffic(COUNT_UNJUDGED_TOO_LONG);
            nAnswer = Release(part);
            break;
        case PREFIX_ENOUGH:
            nAnswer = JudgeGathered(part, request, stream.nStart, buffer);
            break;
        case PREFIX_OTHER:  // what looked like the start of a request was none
            stream.bStarted = 0;
            if (nAlone == PREFIX_OTHER) return CountOrphan(stream, part);
            EndStream(stream);
            return TakeAlone(part, nAlone, nNowMs);
        default:
            nAnswer = PassUnjudged(part, nPrefix);
    }
    EndStream(stream);
    return nAnswer;
}

uint8_t JudgeGathered(tagPacketInfo& part, std::span<const uint8_t> request, uint32_t nSeq,
                      tagStreamBuffer& buffer) {
    std::copy(request.begin(), request.end(), buffer.begin());
    part.pData = buffer.data();
    part.nDataLen = static_cast<uint16_t>(request.size());
    part.nSeq = nSeq;
    CountTraffic(COUNT_GATHERED);
    return GATHER_JUDGE;
}

uint8_t JoinOrphans(tagStream& stream, tagPacketInfo& part, int64_t nNowMs) {
    if (AddPiece(stream, part, nNowMs) == 0) return GATHER_PASS;  // sent again
    return CountOrphan(stream, part);
}

uint8_t CountOrphan(tagStream& stream, tagPacketInfo& part) {
    if (++stream.nOrphans <= ORPHANS_KEPT) return GATHER_PASS;
    EndStream(stream);
    return Release(part);
}

// A piece of a connection of which nothing is kept.
uint8_t TakeAlone(tagPacketInfo& part, uint8_t nAlone, int64_t nNowMs) {
    if (nAlone == PREFIX_ENOUGH) return GATHER_JUDGE;
    if (nAlone == PREFIX_OTHER) return TakeUnknown(part, nNowMs);
    if (nAlone != PREFIX_MORE) return PassUnjudged(part, nAlone);
    if (part.bCut == 1 || part.nDataLen >= STREAM_BYTES) {
        CountTraffic(COUNT_UNJUDGED_TOO_LONG);
        return Release(part);
    }
    tagStream& stream = NewStream(ConnectionOf(part));
    stream.nStart = part.nSeq;
    stream.bStarted = 1;
    AddPiece(stream, part, nNowMs);
    return GATHER_WAIT;
}

// Not the start of anything: the rest of what was judged, or else perhaps a piece that overtook its start.
uint8_t TakeUnknown(tagPacketInfo& part, int64_t nNowMs) {
    if (const tagDecision* pDecision = FindDecision(g_Memory, ConnectionOf(part), nNowMs)) {
        const int32_t nBehind = SequenceDistance(part.nSeq, pDecision->nEnd);
        const bool bSentBefore = nBehind < 0 && -nBehind <= static_cast<int32_t>(LONGEST_PIECE);
        if (nBehind == 0 && pDecision->nDecision == DECISION_ALLOWED) return Release(part);
        if (nBehind == 0 || bSentBefore) return GATHER_PASS;
    }
    tagStream& stream = NewStream(ConnectionOf(part));
    stream.nOrphans = 1;
    AddPiece(stream, part, nNowMs);
    return GATHER_PASS;
}

uint8_t PassUnjudged(tagPacketInfo& part, uint8_t nPrefix) {
    CountTraffic(nPrefix == PREFIX_NO_NAME ? COUNT_UNJUDGED_NO_NAME : COUNT_UNJUDGED_DAMAGED);
    return Release(part);
}

// A packet that the rules take for a start is accepted as it is: it comes to the queue whether its connection
// is watched or not, so where connections cannot be watched, a repeated one would come again and again.
uint8_t Release(tagPacketInfo& part) {
    part.nStreamMark = MeetsStartRule(DataOf(part)) ? STREAM_KEEP : STREAM_RELEASE;
    return GATHER_PASS;
}

// Whether the piece has its place in what is kept of its connection. A start that stands elsewhere belongs to
// a new connection with the same ports, or what is kept was never the beginning of a request.
bool IsPieceOf(const tagStream& stream, const tagPacketInfo& part, uint8_t nAlone) {
    const auto nReach = static_cast<int32_t>(STREAM_BYTES);
    const int32_t nOffset = SequenceDistance(part.nSeq, stream.bStarted ? stream.nStart : stream.bytes.nBase);
    if (nOffset <= -nReach || nOffset >= nReach) return false;
    if (stream.bStarted && nOffset >= 0) return true;
    return nAlone == PREFIX_MORE || (nAlone == PREFIX_OTHER && !stream.bStarted);
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

tagStreamBuffer& BufferOf(const tagStream& stream) {
    return g_Buffers[&stream - g_Streams];
}

tagStream* FindStream(const tagConnection& connection, int64_t nNowMs) {
    uint32_t nLeft = g_nStreamsUsed;
    for (tagStream* p = g_Streams; nLeft > 0; ++p) {
        if (!p->bUsed) continue;
        --nLeft;
        if (p->connection != connection) continue;
        if (nNowMs - p->nMetMs < GATHERED_AGE_MS) return p;
        AbandonStream(*p);
        return nullptr;
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

void EndStream(tagStream& stream) {
    stream.bUsed = 0;
    --g_nStreamsUsed;
}

// Ends one whose request was never judged.
void AbandonStream(tagStream& stream) {
    if (stream.bStarted) CountTraffic(COUNT_UNJUDGED_INCOMPLETE);
    EndStream(stream);
}

std::span<const uint8_t> DataOf(const tagPacketInfo& part) {
    return {part.pData, part.nDataLen};
}

// Behind the last byte of the piece as it was sent, of which the kernel may have given only the beginning.
uint32_t SequenceEnd(const tagPacketInfo& part) {
    uint32_t nLength = part.nDataLen;
    if (part.bCut == 1) {
        uint16_t nTotal;
        std::memcpy(&nTotal, part.pPacket + offsetof(iphdr, tot_len), sizeof nTotal);
        const auto nHeaders = static_cast<uint32_t>(part.pData - part.pPacket);
        nLength = std::max<uint32_t>(nLength, std::max<uint32_t>(ntohs(nTotal), nHeaders) - nHeaders);
    }
    return part.nSeq + nLength;
}

void Remember(const tagPacketInfo& part, uint8_t nDecision, uint32_t nEnd, int64_t nNowMs) {
    RememberDecision(g_Memory, {ConnectionOf(part), part.nSeq, nEnd, nDecision, nNowMs});
}

}  // namespace
