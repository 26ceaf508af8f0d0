#include "intercept/judging_cost.h"

#include <algorithm>
#include <atomic>

namespace {
constexpr uint64_t QUICK_NANOSECONDS = 15'000;
constexpr uint64_t LEAST_NANOSECONDS = 1'000;
constexpr uint64_t MOST_NANOSECONDS = 1'000'000;

// About what four packets of five stay below: it rises by a quarter with each dearer one and falls by a
// sixteenth with each cheaper one, so a few that were interrupted do not count. A lost step does not matter.
std::atomic<uint64_t> s_nCost{LEAST_NANOSECONDS};
}  // namespace

void NoteJudgingCost(uint64_t nNanoseconds) {
    const uint64_t nCost = s_nCost.load(std::memory_order_relaxed);
    const uint64_t nNext = nNanoseconds > nCost ? nCost + nCost / 4 : nCost - nCost / 16;
    s_nCost.store(std::clamp(nNext, LEAST_NANOSECONDS, MOST_NANOSECONDS), std::memory_order_relaxed);
}

bool IsJudgingQuick() {
    return s_nCost.load(std::memory_order_relaxed) < QUICK_NANOSECONDS;
}
