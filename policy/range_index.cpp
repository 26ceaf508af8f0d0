#include "policy/range_index.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <span>

struct tagRangeIndex {
    struct tagStretch {
        uint32_t nFirst, nLast;
    };
    uint32_t nStretches;
    tagStretch stretches[];
};

namespace {

using tagStretch = tagRangeIndex::tagStretch;

tagStretch StretchOf(const tagAddrRange& range);
uint32_t JoinStretches(std::span<tagStretch> sorted);
bool IsInStretches(std::span<const tagStretch> stretches, uint32_t nAddress);

}  // namespace

void IndexRanges(tagAddrRangeTable& table) {
    if (table.nCount == 0) return;
    const size_t nBytes = sizeof(tagRangeIndex) + table.nCount * sizeof(tagStretch);
    auto* pIndex = static_cast<tagRangeIndex*>(std::malloc(nBytes));
    if (!pIndex) return;
    const std::span stretches(pIndex->stretches, table.nCount);
    std::transform(table.pRanges, table.pRanges + table.nCount, stretches.begin(), StretchOf);
    std::sort(stretches.begin(), stretches.end(),
              [](const tagStretch& a, const tagStretch& b) { return a.nFirst < b.nFirst; });
    pIndex->nStretches = JoinStretches(stretches);
    table.pIndex = pIndex;
}

void DropRangeIndex(tagAddrRangeTable& table) {
    std::free(table.pIndex);
    table.pIndex = nullptr;
}

bool IsInRanges(const tagAddrRangeTable& table, uint32_t nAddress) {
    if (const tagRangeIndex* pIndex = table.pIndex) {
        return IsInStretches({pIndex->stretches, pIndex->nStretches}, nAddress);
    }
    for (const tagAddrRange& range : std::span(table.pRanges, table.nCount)) {
        const tagStretch stretch = StretchOf(range);
        if (stretch.nFirst <= nAddress && nAddress <= stretch.nLast) return true;
    }
    return false;
}

namespace {

// The first address is taken as it stands: it may lie inside its own network.
tagStretch StretchOf(const tagAddrRange& range) {
    return {range.nBase, range.nBase | ~ntohl(range.nMask)};
}

// Leaves those that are joined at the front and returns how many there are: at least one.
uint32_t JoinStretches(std::span<tagStretch> sorted) {
    uint32_t nLast = 0;
    for (const tagStretch stretch : sorted.subspan(1)) {
        if (stretch.nFirst <= sorted[nLast].nLast) {
            sorted[nLast].nLast = std::max(sorted[nLast].nLast, stretch.nLast);
        } else {
            sorted[++nLast] = stretch;
        }
    }
    return nLast + 1;
}

bool IsInStretches(std::span<const tagStretch> stretches, uint32_t nAddress) {
    const auto behind = std::upper_bound(
        stretches.begin(), stretches.end(), nAddress,
        [](uint32_t nWanted, const tagStretch& stretch) { return nWanted < stretch.nFirst; });
    return behind != stretches.begin() && nAddress <= std::prev(behind)->nLast;
}

}  // namespace
