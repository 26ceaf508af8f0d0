// What the targets over TCP data share: the input in a block of its exact size, as the data of a packet, and
// the checks that hold for every text field.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>

#include "intercept/packet_info.h"

struct FuzzSegment {
    FuzzSegment(const uint8_t* pData, size_t nSize) : bytes(new uint8_t[nSize]) {
        if (nSize != 0) std::memcpy(bytes.get(), pData, nSize);
        info.pData = bytes.get();
        info.nDataLen = static_cast<uint16_t>(nSize);
    }
    std::unique_ptr<uint8_t[]> bytes;
    tagPacketInfo info{};
};

inline void Require(bool bHolds) {
    if (!bHolds) std::abort();
}

template <size_t N>
void RequireText(const char (&szText)[N]) {
    Require(std::find(std::begin(szText), std::end(szText), '\0') != std::end(szText));
}
