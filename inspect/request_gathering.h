// Requests that come in several segments: the pieces of a connection are put together until they tell what is
// asked for, and the piece that completes that is judged in place of all. Only LiveTraffic 1 comes here.
//
// A piece that is not the last one needed is accepted at once, so the server may get all of a request but the
// piece that decides: that one waits for its verdict, and when it is dropped, its bytes never come through
// again as long as the connection is remembered. Workers meet the pieces in any order. A piece before its
// start is kept as an orphan; a connection with more of them than its buffer has room for is let go and
// counted.
//
// A request that was judged is followed to its end, through the rest of its headers and its body, since the
// next one may begin anywhere in a segment. A piece that looks like a start is judged all the same: a server
// need not believe the length that a client gives.
//
// Bounded in everything: streams, bytes of each (STREAM_BYTES), age. When all are in use, the one that waited
// longest for a piece makes room. What is let go undecided passes and is counted. Nothing is allocated; the
// memory is never touched while no request comes in pieces.
//
// Any worker. One lock guards all of it; it is held for a few microseconds and never across a blocking call,
// where a worker may be cancelled.
#pragma once

#include <cstdint>

#include "inspect/data_part.h"
#include "inspect/stream_table.h"

enum : uint8_t {
    GATHER_JUDGE,      // pData and nDataLen are a request to judge
    GATHER_WAIT,       // accept; its rest is waited for
    GATHER_PASS,       // accept; nothing to judge
    GATHER_DROP,       // drop: belongs to what was blocked
    GATHER_DROP_COPY,  // drop: the same bytes are being judged, and their sender will send them again
};

// Takes a piece, as DataPart gave it. On GATHER_JUDGE, data that was put together stands in `buffer`, which
// is the caller's: pData, nDataLen and nSeq of the part then lead there, or to where a request begins within
// the piece. The caller judges it and must tell the outcome by one of the two operations further below. Sets
// nStreamMark: STREAM_WATCH while more is waited for; STREAM_RELEASE when nothing that follows could be a
// request, or not before so much data that none of it can be in the queue yet: a release reaches the
// connection after pieces that were queued meanwhile. Counts what cannot be judged.
uint8_t GatherRequest(tagPacketInfo& part, tagStreamBuffer& buffer, int64_t nNowMs);

// The same for a request behind the one just judged, within the same piece.
uint8_t GatherNextRequest(tagPacketInfo& part, tagStreamBuffer& buffer, int64_t nNowMs);

// Remembers a judged packet, as it was queued. Of a blocked one neither these bytes nor what is behind them
// pass again.
void RememberBlocked(const tagPacketInfo& packet, int64_t nNowMs);
void RememberAllowed(const tagPacketInfo& packet, int64_t nNowMs);

// Counts and lets go the requests whose rest has not come for GATHERED_AGE_MS. Each piece of any connection
// does the same; this is for a host on which none comes. Any thread.
void AbandonOldRequests(int64_t nNowMs);
