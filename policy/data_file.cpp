#include "policy/data_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "common/ascii.h"
#include "common/cancellation_off.h"
#include "modules/asapsdk/check_sum.h"

// Records of numbers are used as they stand in the file.
static_assert(std::endian::native == std::endian::little);

namespace {

// How a body is built: a count of 2 or 4 bytes, then records of one size.
struct tagBodyLayout {
    uint32_t nCountBytes;
    uint32_t nRecordBytes;
};
struct tagBody {
    uint32_t nCount;
    uint8_t* pRecords;  // malloc'ed; null with count 0
};

enum : int { READ_BAD_HEADER = 1, READ_NO_ARGUMENT = 2, READ_NO_MEMORY = 7 };

int ReadBodyFile(const char* szPath, const tagBodyLayout& layout, tagBody& body);
int ReadOpenBody(int fd, const tagBodyLayout& layout, tagBody& body);
int ReadRecords(int fd, uint64_t nRecordsOffset, uint64_t nBytes, tagBody& body);
int ReadExactly(int fd, void* pTo, size_t nBytes);

}  // namespace

bool DecryptBuffer(const uint8_t* pSource, uint8_t* pDestination, uint32_t nLength, uint8_t nKey) {
    if (!pSource || !pDestination) return false;
    for (uint32_t i = 0; i < nLength; ++i) {
        pDestination[i] = static_cast<uint8_t>(((nKey & 31) ^ pSource[i]) - nKey * nKey);
    }
    return true;
}

int CheckDataFileHeader(int fd) {
    tagDataFileHeader header = {};
    if (lseek(fd, 0, SEEK_SET) != 0) return 1;
    if (ReadExactly(fd, &header, sizeof header) != 0) return 1;

    // With its NUL: a longer text in the file is another text.
    constexpr std::string_view COPYRIGHT(DATAFILE_COPYRIGHT, sizeof DATAFILE_COPYRIGHT);
    if (!EqualNoCase({header.szCopyright, COPYRIGHT.size()}, COPYRIGHT)) return 1;
    if (std::memcmp(header.szMagic, DATAFILE_MAGIC, sizeof header.szMagic) != 0) return 1;

    uint32_t nChecksum = 0;
    if (!CalculateCheckSum(fd, &nChecksum)) return 1;
    return header.nChecksum == nChecksum ? 0 : 1;
}

int ReadPatternFile(const char* szPath, tagPatternTable* pTable) {
    if (!pTable) return READ_NO_ARGUMENT;
    *pTable = {0, nullptr};
    if (!szPath) return READ_NO_ARGUMENT;
    tagBody body = {0, nullptr};
    if (ReadBodyFile(szPath, {sizeof(uint32_t), PATTERN_BYTES}, body) != 0) return 1;
    *pTable = {body.nCount, reinterpret_cast<char(*)[PATTERN_BYTES]>(body.pRecords)};
    for (uint32_t i = 0; i < pTable->nCount; ++i) {
        pTable->pPatterns[i][PATTERN_BYTES - 1] = '\0';
    }
    return 0;
}

int ReadAddrRangeFile(const char* szPath, tagAddrRangeTable* pTable) {
    if (!pTable) return READ_NO_ARGUMENT;
    *pTable = {0, nullptr};
    if (!szPath) return READ_NO_ARGUMENT;
    tagBody body = {0, nullptr};
    const int nResult = ReadBodyFile(szPath, {sizeof(uint16_t), sizeof(tagAddrRange)}, body);
    if (nResult != 0) return nResult;
    *pTable = {static_cast<uint16_t>(body.nCount), reinterpret_cast<tagAddrRange*>(body.pRecords)};
    return 0;
}

int ReadPortFile(const char* szPath, tagPortTable* pTable) {
    if (!pTable) return READ_NO_ARGUMENT;
    *pTable = {0, nullptr};
    if (!szPath) return READ_NO_ARGUMENT;
    tagBody body = {0, nullptr};
    const int nResult = ReadBodyFile(szPath, {sizeof(uint16_t), sizeof(tagPortRecord)}, body);
    if (nResult != 0) return nResult;
    *pTable = {static_cast<uint16_t>(body.nCount), reinterpret_cast<tagPortRecord*>(body.pRecords)};
    return 0;
}

void FreePatternTable(tagPatternTable& table) {
    std::free(table.pPatterns);
    table = {0, nullptr};
}

void FreeAddrRangeTable(tagAddrRangeTable& table) {
    std::free(table.pRanges);
    table = {0, nullptr};
}

void FreePortTable(tagPortTable& table) {
    std::free(table.pRecords);
    table = {0, nullptr};
}

namespace {

int ReadBodyFile(const char* szPath, const tagBodyLayout& layout, tagBody& body) {
    const CancellationOff cancellationOff;
    // A pipe put in the file's place must not hold the reader up.
    const int fd = open(szPath, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return errno;
    const int nResult = ReadOpenBody(fd, layout, body);
    close(fd);
    return nResult;
}

int ReadOpenBody(int fd, const tagBodyLayout& layout, tagBody& body) {
    if (CheckDataFileHeader(fd) != 0) return READ_BAD_HEADER;
    if (lseek(fd, DATAFILE_BODY_OFFSET, SEEK_SET) < 0) return errno;

    uint8_t count[sizeof(uint32_t)] = {};
    const int nResult = ReadExactly(fd, count, layout.nCountBytes);
    if (nResult != 0) return nResult;
    if (!DecryptBuffer(count, count, layout.nCountBytes, DATAFILE_KEY)) return 1;
    std::memcpy(&body.nCount, count, sizeof body.nCount);
    if (body.nCount == 0) return 0;
    return ReadRecords(fd, DATAFILE_BODY_OFFSET + layout.nCountBytes,
                       uint64_t{body.nCount} * layout.nRecordBytes, body);
}

// Reads and descrambles the records. On failure body.pRecords stays null.
int ReadRecords(int fd, uint64_t nRecordsOffset, uint64_t nBytes, tagBody& body) {
    // A count that promises more than the file holds must not cost the memory that it asks for.
    struct stat status;
    if (fstat(fd, &status) != 0) return errno;
    if (static_cast<uint64_t>(status.st_size) < nRecordsOffset + nBytes) return EIO;
    if (nBytes > UINT32_MAX) return READ_NO_MEMORY;

    uint8_t* pRecords = static_cast<uint8_t*>(std::calloc(1, nBytes));
    if (!pRecords) return READ_NO_MEMORY;
    const int nResult = ReadExactly(fd, pRecords, nBytes);
    if (nResult != 0 || !DecryptBuffer(pRecords, pRecords, static_cast<uint32_t>(nBytes), DATAFILE_KEY)) {
        std::free(pRecords);
        return nResult != 0 ? nResult : 1;
    }
    body.pRecords = pRecords;
    return 0;
}

// 0, the error number of a failed read, or EIO when the file ends too early.
int ReadExactly(int fd, void* pTo, size_t nBytes) {
    uint8_t* pNext = static_cast<uint8_t*>(pTo);
    while (nBytes != 0) {
        const ssize_t nRead = read(fd, pNext, nBytes);
        if (nRead < 0 && errno == EINTR) continue;
        if (nRead < 0) return errno;
        if (nRead == 0) return EIO;
        pNext += nRead;
        nBytes -= static_cast<size_t>(nRead);
    }
    return 0;
}

}  // namespace
