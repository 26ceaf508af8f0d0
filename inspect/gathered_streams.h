// The connections of which pieces of a request are kept, and these pieces. Bounded: when all places are in
// use, the stream that waited longest for a piece makes room, and what is too old goes. Nothing is allocated;
// the memory is never touched while no request comes in pieces.
//
// The caller holds the lock of the gathered requests (inspect/request_gathering.cpp) around every operation.
#pragma once

#include <cstdint>
#include <span>

#include "inspect/connection_memory.h"
#include "inspect/stream_bytes.h"
#include "intercept/packet_info.h"

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

// The stream of the connection, or null. Those that are too old go on the way.
tagStream* FindStream(const tagConnection& connection, int64_t nNowMs);

// Makes one for a connection that has none.
tagStream& NewStream(const tagConnection& connection);

// Adds what the part holds; returns how many of its bytes were new.
uint32_t AddPiece(tagStream& stream, const tagPacketInfo& part, int64_t nNowMs);

// The bytes behind those that stream.bytes tells of.
tagStreamBuffer& BufferOf(const tagStream& stream);

// How far the part lies behind what is kept of its connection, and whether that is within reach.
int32_t PlaceIn(const tagStream& stream, const tagPacketInfo& part);
bool IsNear(int32_t nPlace);

// Whether something between the part and the start has not come yet.
bool IsBehindGap(const tagStream& stream, const tagPacketInfo& part);

// Whether no more can be added to what is there of the request.
bool IsFull(const tagStream& stream, std::span<const uint8_t> request);

// Ends a stream; the second one a stream whose request was judged: what came behind a gap stays for the
// request that the gap belongs to.
void EndStream(tagStream& stream);
void EndJudged(tagStream& stream);

// Ends one whose request, or what came behind its headers, was never judged, and counts it; the second all
// that no piece came for in GATHERED_AGE_MS.
void AbandonStream(tagStream& stream);
void AbandonOldStreams(int64_t nNowMs);
