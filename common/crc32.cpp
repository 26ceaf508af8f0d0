#include "common/crc32.h"

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <cstring>

#include "common/cancellation_off.h"

namespace {

constexpr size_t BLOCK_BYTES = 1024;

}  // namespace

CKVCrc32::CKVCrc32() {
    GenerateCrc32Table();
}

// Not defaulted: its symbol is part of the interface.
CKVCrc32::~CKVCrc32() {}

int CKVCrc32::GenerateCrc32Table() {
    m_Table = MakeCrc32Table();
    return 1;
}

int CKVCrc32::GetBuffCrc32(const unsigned char* buffer, int length, unsigned int* crc) {
    if (!buffer || !crc) return 0;
    *crc = CRC32_START;
    return GetBuffCrc32Ex(buffer, length, crc);
}

int CKVCrc32::GetBuffCrc32Ex(const unsigned char* buffer, int length, unsigned int* crc) {
    if (!buffer || !crc) return 0;
    if (length > 0) *crc = AdvanceCrc32(m_Table, *crc, buffer, static_cast<size_t>(length));
    return 1;
}

int CKVCrc32::GetFileCrc32fopen(const char* path, unsigned int* crc) {
    if (!path || !crc) return 0;
    const CancellationOff cancellationOff;
    FILE* pFile = fopen(path, "re");
    if (!pFile) return 0;
    uint32_t nCrc = CRC32_START;
    char block[BLOCK_BYTES];
    size_t nRead;
    while ((nRead = fread(block, 1, sizeof(block), pFile)) > 0)
        nCrc = AdvanceCrc32(m_Table, nCrc, block, nRead);
    const bool bWhole = ferror(pFile) == 0;
    fclose(pFile);
    if (bWhole) *crc = ~nCrc;
    return bWhole ? 1 : 0;
}

int CKVCrc32::GetFileCrc32open(const char* path, unsigned int* crc) {
    if (!path || !crc) return 0;
    const CancellationOff cancellationOff;
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return 0;
    uint32_t nCrc = CRC32_START;
    char block[BLOCK_BYTES];
    ssize_t nRead;
    while ((nRead = read(fd, block, sizeof(block))) > 0) {
        nCrc = AdvanceCrc32(m_Table, nCrc, block, static_cast<size_t>(nRead));
    }
    close(fd);
    if (nRead == 0) *crc = ~nCrc;
    return nRead == 0 ? 1 : 0;
}

int CKVCrc32::GetStringCrc32(const char* text, unsigned int* crc) {
    if (!text || !crc) return 0;
    *crc = ~AdvanceCrc32(m_Table, CRC32_START, text, std::strlen(text));
    return 1;
}
