#include "inspect/internet_checksum.h"

#include <cstring>

namespace {
uint16_t FoldSum(uint64_t nSum);
}

// Runs over every queued packet. Words are added 32 bits at a time, which folds to the same sum since 2^16 is
// 1 modulo 2^16 - 1; two independent accumulators keep the additions from waiting for each other.
uint16_t InternetChecksum(const uint8_t* pData, uint32_t nLength, uint32_t nInitialSum) {
    uint64_t nLow = nInitialSum;
    uint64_t nHigh = 0;
    for (; nLength >= 8; pData += 8, nLength -= 8) {
        uint64_t nWords;
        std::memcpy(&nWords, pData, 8);
        nLow += nWords & 0xFFFFFFFF;
        nHigh += nWords >> 32;
    }
    if (nLength != 0) {
        uint64_t nWords = 0;
        std::memcpy(&nWords, pData, nLength);
        nLow += nWords & 0xFFFFFFFF;
        nHigh += nWords >> 32;
    }
    return static_cast<uint16_t>(~FoldSum(nLow + nHigh));
}

namespace {

uint16_t FoldSum(uint64_t nSum) {
    while (nSum >> 16 != 0)
        nSum = (nSum >> 16) + (nSum & 0xFFFF);
    return static_cast<uint16_t>(nSum);
}

}  // namespace
