#include "inspect/connection_memory.h"

#include <algorithm>

#include "inspect/stream_bytes.h"

namespace {

uint32_t SetOf(const tagConnection& connection);
bool IsKept(const tagDecision& entry, int64_t nNowMs);
void JoinBlocks(tagDecision& block, const tagDecision& older);

}  // namespace

void PrefetchDecision(const tagConnectionMemory& memory, const tagConnection& connection) {
    for (const tagDecision& entry : memory[SetOf(connection)])
        __builtin_prefetch(&entry);
}

const tagDecision* FindDecision(const tagConnectionMemory& memory, const tagConnection& connection,
                                int64_t nNowMs) {
    for (const tagDecision& entry : memory[SetOf(connection)]) {
        if (entry.connection == connection && IsKept(entry, nNowMs)) return &entry;
    }
    return nullptr;
}

void RememberDecision(tagConnectionMemory& memory, const tagDecision& decision) {
    auto& set = memory[SetOf(decision.connection)];
    tagDecision remembered = decision;
    auto replaced = set.end() - 1;
    if (const tagDecision* pOlder = FindDecision(memory, decision.connection, decision.nMetMs)) {
        if (pOlder->nDecision == DECISION_BLOCKED) {
            if (decision.nDecision != DECISION_BLOCKED) return;
            JoinBlocks(remembered, *pOlder);
        }
        replaced = set.begin() + (pOlder - set.data());
    }
    std::move_backward(set.begin(), replaced, replaced + 1);
    set.front() = remembered;
}

namespace {

uint32_t SetOf(const tagConnection& connection) {
    const uint32_t nPorts = uint32_t{connection.nSrcPort} << 16 | connection.nDstPort;
    const uint32_t nMixed = (nPorts ^ connection.nDstAddr ^ connection.nSrcAddr * 31) * 0x9E3779B1u;
    return nMixed >> 24;
}

bool IsKept(const tagDecision& entry, int64_t nNowMs) {
    constexpr int64_t AGES_MS[] = {0, PENDING_AGE_MS, ALLOWED_AGE_MS, BLOCKED_AGE_MS};  // by DECISION_*
    return entry.nDecision != DECISION_NONE && nNowMs - entry.nMetMs < AGES_MS[entry.nDecision];
}

void JoinBlocks(tagDecision& block, const tagDecision& older) {
    if (SequenceDistance(block.nSeq, older.nEnd) > 0 || SequenceDistance(older.nSeq, block.nEnd) > 0) return;
    if (SequenceDistance(older.nSeq, block.nSeq) < 0) block.nSeq = older.nSeq;
    if (SequenceDistance(older.nEnd, block.nEnd) > 0) block.nEnd = older.nEnd;
}

}  // namespace
