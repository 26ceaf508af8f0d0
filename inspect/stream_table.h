// The connections of which a request came only in part, each with the bytes that are there.
//
// Bounded in number, bytes of each and age: when all streams are in use, the one that waited longest for a
// piece makes room. Nothing is allocated, and a host on which requests come whole never touches the memory.
//
// One table for the process; one thread at a time: whoever calls holds the lock of gathering.
#pragma once

#include <cstdint>
#include <span>

#include "inspect/connection_memory.h"
#include "inspect/stream_bytes.h"

constexpr uint32_t GATHERED_STREAMS = 192;
constexpr int64_t GATHERED_AGE_MS = 60'000;  // since the last piece
static_assert(GATHERED_STREAMS * STREAM_BYTES <= 4u << 20);

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

// The stream of a connection, or null. Those that are too old are abandoned on the way.
tagStream* FindStream(const tagConnection& connection, int64_t nNowMs);

// A free one, or else the oldest, which is abandoned. The connection must have none.
tagStream& NewStream(const tagConnection& connection);

// Keeps a request whose headers go on while it is judged.
void KeepHead(const tagPacketInfo& part, int64_t nNowMs);

// Puts the piece in its place. Returns how many of its bytes were new.
uint32_t AddPiece(tagStream& stream, const tagPacketInfo& part, int64_t nNowMs);

// The bytes from sequence number nSeq up to the first one missing.
std::span<const uint8_t> BytesFrom(const tagStream& stream, uint32_t nSeq);

// How far the part lies behind what is kept of its connection; and whether that is within reach.
int32_t PlaceIn(const tagStream& stream, const tagPacketInfo& part);
bool IsNear(int32_t nPlace);

// Whether something between the part and the start has not come yet.
bool IsBehindGap(const tagStream& stream, const tagPacketInfo& part);

// Whether no more can be added to what is there of the request.
bool IsFull(const tagStream& stream, std::span<const uint8_t> request);

void EndStream(tagStream& stream);

// Ends one that was judged; what came behind a gap stays for the request that the gap belongs to.
void EndJudged(tagStream& stream);

// Ends one whose request, or what came behind its headers, was never judged, and counts that.
void AbandonStream(tagStream& stream);

// The same for all that are too old.
void AbandonOldStreams(int64_t nNowMs);
