#include "inspect/judged_requests.h"

#include "common/traffic_counters.h"
#include "inspect/data_part.h"
#include "inspect/stream_table.h"

namespace {

constexpr uint64_t LONGEST_BODY = 1u << 30;  // whose end is still told apart by its sequence number

tagConnectionMemory g_Memory;

tagBehind FindBehind(const tagPacketInfo& part, tagRequestEnd end, int64_t nNowMs);
bool IsCovered(const tagDecision& known, const tagPacketInfo& piece);

}  // namespace

void ExpectJudged(const tagPacketInfo& part) {
    PrefetchDecision(g_Memory, ConnectionOf(part));
}

const tagDecision* FindJudged(const tagPacketInfo& part, int64_t nNowMs) {
    return FindDecision(g_Memory, ConnectionOf(part), nNowMs);
}

uint8_t MeetDecision(const tagPacketInfo& part, int64_t nNowMs) {
    const tagDecision* pDecision = FindJudged(part, nNowMs);
    if (!pDecision || pDecision->nDecision == DECISION_ALLOWED) return DECISION_NONE;
    const bool bOverlaps = SequenceDistance(SequenceEnd(part), pDecision->nSeq) > 0 &&
                           SequenceDistance(part.nSeq, pDecision->nEnd) < 0;
    if (!bOverlaps) return DECISION_NONE;
    if (pDecision->nDecision == DECISION_PENDING) return DECISION_PENDING;
    tagDecision met = *pDecision;
    met.nMetMs = nNowMs;
    RememberDecision(g_Memory, met);
    return DECISION_BLOCKED;
}

bool BeginsBeforeNext(const tagPacketInfo& part, int64_t nNowMs) {
    const tagDecision* pKnown = FindJudged(part, nNowMs);
    return pKnown && pKnown->nBehind == BEHIND_NEXT && SequenceDistance(pKnown->nNext, part.nSeq) > 0 &&
           SequenceDistance(part.nSeq, pKnown->nSeq) > -static_cast<int32_t>(STREAM_BYTES);
}

tagBehind BehindEnd(const tagRequestEnd& end, uint32_t nSeq) {
    const bool bNever = end.nKind == END_NEVER || (end.nKind == END_AT && end.nOffset > LONGEST_BODY);
    if (bNever) return {BEHIND_NEVER, 0};
    if (end.nKind != END_AT) return {BEHIND_UNKNOWN, 0};
    return {BEHIND_NEXT, nSeq + static_cast<uint32_t>(end.nOffset)};
}

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

void NoteRequests(const tagPacketInfo& part, const tagRequestEnd& end, int64_t nNowMs) {
    NoteBehind(part, FindBehind(part, end, nNowMs), nNowMs);
}

void NotePending(const tagPacketInfo& piece, const tagPacketInfo& part, const tagRequestEnd& end,
                 int64_t nNowMs) {
    const tagDecision* pKnown = FindJudged(part, nNowMs);
    const bool bCovered = pKnown && IsCovered(*pKnown, piece);
    const tagBehind behind = bCovered ? tagBehind{BEHIND_NEXT, pKnown->nNext} : FindBehind(part, end, nNowMs);
    RememberDecision(g_Memory, {ConnectionOf(piece), piece.nSeq, SequenceEnd(piece), DECISION_PENDING, nNowMs,
                                behind.nKind, behind.nNext});
}

void NoteAllowed(const tagPacketInfo& part, int64_t nNowMs) {
    const tagDecision* pKnown = FindJudged(part, nNowMs);
    if (!pKnown || pKnown->nDecision != DECISION_PENDING || pKnown->nSeq != part.nSeq) return;
    tagDecision allowed = *pKnown;
    allowed.nDecision = DECISION_ALLOWED;
    allowed.nMetMs = nNowMs;
    RememberDecision(g_Memory, allowed);
}

void NoteBlocked(const tagPacketInfo& part, int64_t nNowMs) {
    RememberDecision(g_Memory, {.connection = ConnectionOf(part),
                                .nSeq = part.nSeq,
                                .nEnd = part.nSeq + LONGEST_PIECE,
                                .nDecision = DECISION_BLOCKED,
                                .nMetMs = nNowMs});
}

namespace {

// What comes behind the last request that begins in the part, whose first one ends there.
tagBehind FindBehind(const tagPacketInfo& part, tagRequestEnd end, int64_t nNowMs) {
    tagPacketInfo last = part;
    for (size_t nNext = part.nNextRequest; nNext < last.nDataLen;
         nNext = FindNextRequest(DataOf(last), end)) {
        StepTo(last, nNext);
        if (ReadRequestPrefix(DataOf(last)) != PREFIX_ENOUGH) return {BEHIND_NEXT, last.nSeq};
        end = FindRequestEnd(DataOf(last));
    }
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

// Whether the piece lies before what is known to come next.
bool IsCovered(const tagDecision& known, const tagPacketInfo& piece) {
    return known.nBehind == BEHIND_NEXT && known.nDecision != DECISION_BLOCKED &&
           SequenceDistance(piece.nSeq, known.nSeq) >= 0 &&
           SequenceDistance(known.nNext, SequenceEnd(piece)) >= 0;
}

}  // namespace
