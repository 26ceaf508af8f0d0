#include "policy/text_hash.h"

#include <sys/random.h>

#include <cstdlib>

#include "common/ascii.h"

namespace {

std::array<uint64_t, HASHED_TEXT_MAX + 1> DrawPowers();
uint64_t AddByte(uint64_t nSum, char c, bool bFold);

}  // namespace

const std::array<uint64_t, HASHED_TEXT_MAX + 1> HASH_POWERS = DrawPowers();

uint64_t HashText(std::string_view text, bool bFold) {
    uint64_t nSum = 0;
    for (const char c : text)
        nSum = AddByte(nSum, c, bFold);
    return nSum;
}

void SumText(tagTextSums& sums, std::string_view text, bool bFold) {
    uint64_t* pSum = sums.sums;
    *pSum = 0;
    for (const char c : text) {
        pSum[1] = AddByte(*pSum, c, bFold);
        ++pSum;
    }
}

int StartTextTable(tagTextTable& table, uint32_t nTexts) {
    table = {};
    if (nTexts == 0) return 0;
    if (nTexts > UINT32_MAX / 4) return 1;
    const uint32_t nSlots = std::bit_ceil(nTexts + nTexts / 2 + 1);
    auto* pBlock = static_cast<uint8_t*>(std::calloc(nSlots, sizeof *table.pTags + sizeof *table.pEntries));
    if (!pBlock) return 1;
    table.nSlots = nSlots;
    table.pEntries = reinterpret_cast<uint32_t*>(pBlock);
    table.pTags = pBlock + nSlots * sizeof *table.pEntries;
    return 0;
}

void FreeTextTable(tagTextTable& table) {
    std::free(table.pEntries);
    table = {};
}

void AddText(tagTextTable& table, uint64_t nHash, size_t nBytes, uint32_t nEntry) {
    const tagTextPlace place = PlaceOfText(table, nHash);
    uint32_t n = place.nSlot;
    while (table.pTags[n] != 0)
        n = (n + 1) & (table.nSlots - 1);
    table.pTags[n] = place.nTag;
    table.pEntries[n] = nEntry;
    table.lengths[nBytes / 64] |= uint64_t{1} << nBytes % 64;
}

namespace {

// Early in the boot there may be nothing to draw from: any base gives the same answers.
std::array<uint64_t, HASHED_TEXT_MAX + 1> DrawPowers() {
    uint64_t nDrawn = 0x9E3779B97F4A7C55;
    (void)getrandom(&nDrawn, sizeof nDrawn, GRND_NONBLOCK);
    const uint64_t nBase = nDrawn << 3 | 5;  // whose powers differ for as long as those of any
    std::array<uint64_t, HASHED_TEXT_MAX + 1> powers = {1};
    for (size_t n = 1; n < powers.size(); ++n)
        powers[n] = powers[n - 1] * nBase;
    return powers;
}

// No byte counts as zero, or texts that differ in leading ones would share a hash.
uint64_t AddByte(uint64_t nSum, char c, bool bFold) {
    return nSum * HASH_POWERS[1] + static_cast<uint8_t>(bFold ? AsciiLower(c) : c) + 1;
}

}  // namespace
