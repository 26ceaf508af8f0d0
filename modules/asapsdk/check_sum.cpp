#include "modules/asapsdk/check_sum.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <span>

#include "common/crc32_step.h"

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
    uint32_t nCrc = RunCrc(CRC32_START, header.first(CHECKSUM_OFFSET));

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

uint32_t RunCrc(uint32_t nCrc, std::span<const uint8_t> bytes) {
    static constexpr tagCrc32Table TABLE = MakeCrc32Table();
    return AdvanceCrc32(TABLE, nCrc, bytes.data(), bytes.size());
}

}  // namespace
