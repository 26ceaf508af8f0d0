#include "inspect/stream_table.h"

#include "common/traffic_counters.h"
#include "inspect/data_part.h"

namespace {

// The bytes stand apart, so that looking for a stream touches none of them.
tagStream g_Streams[GATHERED_STREAMS];
tagStreamBuffer g_Buffers[GATHERED_STREAMS];
uint32_t g_nStreamsUsed;
uint64_t g_nTurn;

tagStreamBuffer& BufferOf(const tagStream& stream);

}  // namespace

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

// The first free one, so that a quiet host touches little memory.
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

void KeepHead(const tagPacketInfo& part, int64_t nNowMs) {
    tagStream* pStream = FindStream(ConnectionOf(part), nNowMs);
    tagStream& stream = pStream ? *pStream : NewStream(ConnectionOf(part));
    stream.nStart = part.nSeq;
    stream.bStarted = stream.bJudged = 1;
    AddPiece(stream, part, nNowMs);
}

uint32_t AddPiece(tagStream& stream, const tagPacketInfo& part, int64_t nNowMs) {
    stream.nMetMs = nNowMs;
    stream.nTurn = ++g_nTurn;
    if (part.bCut == 1) {
        stream.nGap = part.nSeq + part.nDataLen;
        stream.bGap = 1;
    }
    return AddStreamBytes(stream.bytes, BufferOf(stream), part.nSeq, DataOf(part));
}

std::span<const uint8_t> BytesFrom(const tagStream& stream, uint32_t nSeq) {
    return BytesFrom(stream.bytes, BufferOf(stream), nSeq);
}

int32_t PlaceIn(const tagStream& stream, const tagPacketInfo& part) {
    return SequenceDistance(part.nSeq, stream.bStarted ? stream.nStart : stream.bytes.nBase);
}

bool IsNear(int32_t nPlace) {
    const auto nReach = static_cast<int32_t>(STREAM_BYTES);
    return -nReach < nPlace && nPlace < nReach;
}

bool IsBehindGap(const tagStream& stream, const tagPacketInfo& part) {
    const auto begun = BytesFrom(stream, stream.nStart);
    return SequenceDistance(part.nSeq, stream.nStart + static_cast<uint32_t>(begun.size())) > 0;
}

bool IsFull(const tagStream& stream, std::span<const uint8_t> request) {
    const uint32_t nEnd = stream.nStart + static_cast<uint32_t>(request.size());
    return nEnd - stream.bytes.nBase >= STREAM_BYTES || (stream.bGap && nEnd == stream.nGap);
}

void EndStream(tagStream& stream) {
    stream.bUsed = 0;
    --g_nStreamsUsed;
}

void EndJudged(tagStream& stream) {
    if (stream.bytes.nRanges <= 1) return EndStream(stream);
    stream.bStarted = stream.bJudged = 0;
    stream.nOrphans = 0;
}

void AbandonStream(tagStream& stream) {
    if (stream.bStarted && (!stream.bJudged || stream.bytes.nRanges > 1)) {
        CountTraffic(COUNT_UNJUDGED_INCOMPLETE);
    }
    EndStream(stream);
}

void AbandonOldStreams(int64_t nNowMs) {
    for (tagStream& stream : g_Streams)
        if (stream.bUsed && nNowMs - stream.nMetMs >= GATHERED_AGE_MS) AbandonStream(stream);
}

namespace {

tagStreamBuffer& BufferOf(const tagStream& stream) {
    return g_Buffers[&stream - g_Streams];
}

}  // namespace
