#include "common/crc32.h"

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <cstring>

#include "common/cancellation_off.h"

namespace {

constexpr uint32_t REFLECTED_POLYNOMIAL = 0xEDB88320;
constexpr uint32_t START_VALUE = 0xFFFFFFFF;
constexpr size_t BLOCK_BYTES = 1024;

uint32_t Advance(const uint32_t (&table)[256], uint32_t nCrc, const void* pBytes, size_t nBytes);

}  // namespace

CKVCrc32::CKVCrc32() {
    GenerateCrc32Table();
}

// Not defaulted: its symbol is part of the interface.
CKVCrc32::~CKVCrc32() {}

int CKVCrc32::GenerateCrc32Table() {
    for (uint32_t n = 0; n < 256; ++n) {
        uint32_t c = n;
        for (int nBit = 0; nBit < 8; ++nBit)
            c = (c & 1) != 0 ? c >> 1 ^ REFLECTED_POLYNOMIAL : c >> 1;
        m_nTable[n] = c;
    }
    return 1;
}

int CKVCrc32::GetBuffCrc32(const unsigned char* buffer, int length, unsigned int* crc) {
    if (!buffer || !crc) return 0;
    *crc = START_VALUE;
    return GetBuffCrc32Ex(buffer, length, crc);
}

int CKVCrc32::GetBuffCrc32Ex(const unsigned char* buffer, int length, unsigned int* crc) {
    if (!buffer || !crc) return 0;
    if (length > 0) *crc = Advance(m_nTable, *crc, buffer, static_cast<size_t>(length));
    return 1;
}

int CKVCrc32::GetFileCrc32fopen(const char* path, unsigned int* crc) {
    if (!path || !crc) return 0;
    const CancellationOff cancellationOff;
    FILE* pFile = fopen(path, "re");
    if (!pFile) return 0;
    uint32_t nCrc = START_VALUE;
    char block[BLOCK_BYTES];
    size_t nRead;
    while ((nRead = fread(block, 1, sizeof(block), pFile)) > 0)
        nCrc = Advance(m_nTable, nCrc, block, nRead);
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
    uint32_t nCrc = START_VALUE;
    char block[BLOCK_BYTES];
    ssize_t nRead;
    while ((nRead = read(fd, block, sizeof(block))) > 0) {
        nCrc = Advance(m_nTable, nCrc, block, static_cast<size_t>(nRead));
    }
    close(fd);
    if (nRead == 0) *crc = ~nCrc;
    return nRead == 0 ? 1 : 0;
}

int CKVCrc32::GetStringCrc32(const char* text, unsigned int* crc) {
    if (!text || !crc) return 0;
    *crc = ~Advance(m_nTable, START_VALUE, text, std::strlen(text));
    return 1;
}

namespace {

uint32_t Advance(const uint32_t (&table)[256], uint32_t nCrc, const void* pBytes, size_t nBytes) {
    const unsigned char* p = static_cast<const unsigned char*>(pBytes);
    for (size_t i = 0; i < nBytes; ++i)
        nCrc = table[(nCrc ^ p[i]) & 0xFF] ^ nCrc >> 8;
    return nCrc;
}

}  // namespace
