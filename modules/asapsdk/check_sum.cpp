#include "modules/asapsdk/check_sum.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <span>

namespace {

constexpr off_t CHECKSUM_OFFSET = 84;
constexpr off_t CHECKSUM_END = 88;
constexpr size_t READ_BYTES = 16384;

ssize_t ReadAt(int fd, std::span<uint8_t> buffer, off_t nOffset);
uint32_t RunCrc(uint32_t nCrc, std::span<const uint8_t> bytes);

}  // namespace

bool CalculateCheckSum(int fd, uint32_t* pChecksum) {
    if (fd < 0 || !pChecksum) return false;
    std::array<uint8_t, READ_BYTES> buffer;
    const std::span<uint8_t> header(buffer.data(), CHECKSUM_END);
    if (ReadAt(fd, header, 0) != CHECKSUM_END) return false;
    uint32_t nCrc = RunCrc(0xFFFFFFFF, header.first(CHECKSUM_OFFSET));

    off_t nOffset = CHECKSUM_END;
    for (;;) {
        const ssize_t nRead = ReadAt(fd, buffer, nOffset);
        if (nRead < 0) return false;
        if (nRead == 0) break;
        nCrc = RunCrc(nCrc, std::span<const uint8_t>(buffer).first(static_cast<size_t>(nRead)));
        nOffset += nRead;
    }
    *pChecksum = ~nCrc;
    return true;
}

namespace {

// Fills the buffer from nOffset on; less only at the end of the file. The bytes read, or -1.
ssize_t ReadAt(int fd, std::span<uint8_t> buffer, off_t nOffset) {
    size_t nFilled = 0;
    while (nFilled < buffer.size()) {
        const ssize_t nRead = pread(fd, buffer.data() + nFilled, buffer.size() - nFilled,
                                    nOffset + static_cast<off_t>(nFilled));
        if (nRead < 0 && errno == EINTR) continue;
        if (nRead < 0) return -1;
        if (nRead == 0) break;
        nFilled += static_cast<size_t>(nRead);
    }
    return static_cast<ssize_t>(nFilled);
}

constexpr std::array<uint32_t, 256> MakeCrcTable() {
    std::array<uint32_t, 256> table{};
    for (uint32_t n = 0; n < table.size(); ++n) {
        uint32_t c = n;
        for (int nBit = 0; nBit < 8; ++nBit) {
            c = (c & 1) != 0 ? 0xEDB88320 ^ (c >> 1) : c >> 1;
        }
        table[n] = c;
    }
    return table;
}

uint32_t RunCrc(uint32_t nCrc, std::span<const uint8_t> bytes) {
    static constexpr std::array<uint32_t, 256> kTable = MakeCrcTable();
    for (const uint8_t b : bytes) {
        nCrc = kTable[(nCrc ^ b) & 0xFF] ^ (nCrc >> 8);
    }
    return nCrc;
}

}  // namespace
