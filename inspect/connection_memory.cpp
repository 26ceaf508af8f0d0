#include "inspect/connection_memory.h"

#include <algorithm>

#include "inspect/stream_bytes.h"

namespace {

std::array<tagDecision, MEMORY_SET_SIZE>& SetOf(tagConnectionMemory& memory, const tagConnection& connection);
bool IsKept(const tagDecision& entry, int64_t nNowMs);
void JoinBlocks(tagDecision& block, const tagDecision& older);

}  // namespace

tagDecision* FindDecision(tagConnectionMemory& memory, const tagConnection& connection, int64_t nNowMs) {
    for (tagDecision& entry : SetOf(memory, connection)) {
        if (entry.connection == connection && IsKept(entry, nNowMs)) return &entry;
    }
    return nullptr;
}

void RememberDecision(tagConnectionMemory& memory, const tagDecision& decision) {
    tagDecision* pEntry = FindDecision(memory, decision.connection, decision.nMetMs);
    if (!pEntry) {
        auto& set = SetOf(memory, decision.connection);
        pEntry = std::min_element(set.begin(), set.end(), [](const tagDecision& a, const tagDecision& b) {
            return a.nMetMs < b.nMetMs;
        });
        *pEntry = decision;
        return;
    }
    const tagDecision older = *pEntry;
    if (older.nDecision == DECISION_BLOCKED && decision.nDecision != DECISION_BLOCKED) return;
    *pEntry = decision;
    if (older.nDecision == DECISION_BLOCKED) JoinBlocks(*pEntry, older);
}

namespace {

std::array<tagDecision, MEMORY_SET_SIZE>& SetOf(tagConnectionMemory& memory,
                                                const tagConnection& connection) {
    const uint32_t nPorts = uint32_t{connection.nSrcPort} << 16 | connection.nDstPort;
    const uint32_t nMixed = (nPorts ^ connection.nDstAddr ^ connection.nSrcAddr * 31) * 0x9E3779B1u;
    return memory[nMixed >> 24];
}

bool IsKept(const tagDecision& entry, int64_t nNowMs) {
    const int64_t nAge = entry.nDecision == DECISION_BLOCKED ? BLOCKED_AGE_MS : DECISION_AGE_MS;
    return entry.nDecision != DECISION_NONE && nNowMs - entry.nMetMs < nAge;
}

void JoinBlocks(tagDecision& block, const tagDecision& older) {
    if (SequenceDistance(block.nSeq, older.nEnd) > 0 || SequenceDistance(older.nSeq, block.nEnd) > 0) return;
    if (SequenceDistance(older.nSeq, block.nSeq) < 0) block.nSeq = older.nSeq;
    if (SequenceDistance(older.nEnd, block.nEnd) > 0) block.nEnd = older.nEnd;
}

}  // namespace
