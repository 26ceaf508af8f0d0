// The step of the reflected CRC-32 of IEEE 802.3 and zlib. Leaf header.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr uint32_t CRC32_START = 0xFFFFFFFF;  // the register before the first byte; at the end it is inverted

struct tagCrc32Table {
    uint32_t nEntries[256];
};

constexpr tagCrc32Table MakeCrc32Table() {
    constexpr uint32_t REFLECTED_POLYNOMIAL = 0xEDB88320;
    tagCrc32Table table{};
    for (uint32_t n = 0; n < 256; ++n) {
        uint32_t c = n;
        for (int nBit = 0; nBit < 8; ++nBit)
            c = (c & 1) != 0 ? c >> 1 ^ REFLECTED_POLYNOMIAL : c >> 1;
        table.nEntries[n] = c;
    }
    return table;
}

// The register after nBytes more bytes.
inline uint32_t AdvanceCrc32(const tagCrc32Table& table, uint32_t nCrc, const void* pBytes, size_t nBytes) {
    const auto* p = static_cast<const uint8_t*>(pBytes);
    for (size_t i = 0; i < nBytes; ++i)
        nCrc = table.nEntries[(nCrc ^ p[i]) & 0xFF] ^ nCrc >> 8;
    return nCrc;
}
