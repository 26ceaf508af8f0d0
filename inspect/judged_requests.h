// What is known of the requests that were judged or are being judged, and of what comes behind them on their
// connections: where the next one begins, that none can come, or that it cannot be told.
//
// One memory for the process; one thread at a time: whoever calls holds the lock of gathering.
#pragma once

#include <cstdint>

#include "inspect/connection_memory.h"
#include "inspect/request_prefix.h"

constexpr uint32_t LONGEST_PIECE = 65536;

struct tagBehind {
    uint8_t nKind;   // BEHIND_*
    uint32_t nNext;  // sequence number, of BEHIND_NEXT
};

// The part's connection will be asked for. Any thread, without the lock.
void ExpectJudged(const tagPacketInfo& part);

// What is known of the part's connection, or null; good until the next call that notes something.
const tagDecision* FindJudged(const tagPacketInfo& part, int64_t nNowMs);

// DECISION_PENDING or DECISION_BLOCKED when that is what was decided about bytes of this part, else
// DECISION_NONE. A block that is met is remembered anew.
uint8_t MeetDecision(const tagPacketInfo& part, int64_t nNowMs);

// Whether the part begins before what is known to come next: sent again, or a body that looks like a request.
bool BeginsBeforeNext(const tagPacketInfo& part, int64_t nNowMs);

// What a request that begins at nSeq and ends there has behind it.
tagBehind BehindEnd(const tagRequestEnd& end, uint32_t nSeq);

// Notes what comes behind the part. Of a pending one the bytes that wait for the verdict, and the time since,
// stay as they are.
void NoteBehind(const tagPacketInfo& part, const tagBehind& behind, int64_t nNowMs);

// The same for a part to judge, whose first request ends there, by the last request that begins in it; if its
// headers go on, they are kept.
void NoteRequests(const tagPacketInfo& part, const tagRequestEnd& end, int64_t nNowMs);

// Notes that the queued piece waits for the verdict about the part, which was put together with it.
void NotePending(const tagPacketInfo& piece, const tagPacketInfo& part, const tagRequestEnd& end,
                 int64_t nNowMs);

// The verdict. What has come behind an allowed one meanwhile stays known.
void NoteAllowed(const tagPacketInfo& part, int64_t nNowMs);
void NoteBlocked(const tagPacketInfo& part, int64_t nNowMs);
