#include "modules/urlmap/url_map.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "common/cancellation_off.h"
#include "modules/urlmap/url_map_layout.h"

namespace {

int ReadFile(int fd, std::span<const uint8_t>* pBytes);
int FillFrom(int fd, uint8_t* pMemory, size_t nBytes);
int CheckHeader(std::span<const uint8_t> bytes, uint32_t nKind, tagURLMapHeader* pHeader);
void PointIntoBytes(tagURLMap* pMap, const uint8_t* pBytes, const tagURLMapHeader& header);
bool IsSound(const tagURLMap& map, uint64_t nTextBytes);
bool AreBucketsSound(const tagURLMap& map);
bool AreTextsSound(const tagURLMap& map, uint64_t nTextBytes);

template <class Section>
const Section* SectionAt(const uint8_t* pBytes, uint64_t nOffset) {
    return reinterpret_cast<const Section*>(pBytes + nOffset);
}

}  // namespace

int OpenURLMap(tagURLMap* pMap, const char* szPath, uint32_t nKind) {
    const CancellationOff off;
    *pMap = {};
    const int fd = open(szPath, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return errno == ENOENT || errno == ENOTDIR ? URLMAP_MISSING : URLMAP_SYSTEM;
    std::span<const uint8_t> bytes;
    int nResult = ReadFile(fd, &bytes);
    const int nError = errno;
    close(fd);
    errno = nError;
    if (nResult != URLMAP_OK) return nResult;
    nResult = AttachURLMap(pMap, bytes, nKind);
    if (nResult != URLMAP_OK) {
        munmap(const_cast<uint8_t*>(bytes.data()), bytes.size());
        return nResult;
    }
    pMap->pMapped = bytes.data();
    pMap->nMapped = bytes.size();
    return URLMAP_OK;
}

int AttachURLMap(tagURLMap* pMap, std::span<const uint8_t> bytes, uint32_t nKind) {
    *pMap = {};
    tagURLMapHeader header;
    if (const int nFailed = CheckHeader(bytes, nKind, &header)) return nFailed;
    PointIntoBytes(pMap, bytes.data(), header);
    if (IsSound(*pMap, header.nFileBytes - header.nTextsOffset)) return URLMAP_OK;
    *pMap = {};
    return URLMAP_DAMAGED;
}

void CloseURLMap(tagURLMap* pMap) {
    if (pMap->pMapped) munmap(const_cast<uint8_t*>(pMap->pMapped), pMap->nMapped);
    *pMap = {};
}

int32_t FindURLKey(const tagURLMap& map, uint64_t nKey) {
    if (map.nNames == 0) return -1;
    const uint64_t nBucket = nKey >> (64 - map.nIndexBits);
    const uint64_t* const pEnd = map.pKeys + map.pIndex[nBucket + 1];
    const uint64_t* const pFound = std::lower_bound(map.pKeys + map.pIndex[nBucket], pEnd, nKey);
    return pFound != pEnd && *pFound == nKey ? map.pValues[pFound - map.pKeys] : -1;
}

int32_t FindURLKeys(const tagURLMap& map, const tagURLKeys& keys) {
    for (uint32_t n = 0; n < keys.nCount; ++n) {
        const int32_t nText = FindURLKey(map, keys.nKeys[n]);
        if (nText >= 0) return nText;
    }
    return -1;
}

std::string_view URLMapText(const tagURLMap& map, uint32_t nText) {
    return {map.pTexts + map.pOffsets[nText], map.pOffsets[nText + 1] - map.pOffsets[nText]};
}

uint32_t URLMapCategories(const tagURLMap& map, uint32_t nText,
                          std::span<uint16_t, URLMAP_CATEGORIES_MAX> categories) {
    const std::string_view text = URLMapText(map, nText);
    memcpy(categories.data(), text.data(), text.size());
    return static_cast<uint32_t>(text.size() / sizeof(uint16_t));
}

uint32_t FindURLCategories(const tagURLMap& map, const tagURLKeys& keys,
                           std::span<uint16_t, URLMAP_CATEGORIES_MAX> categories) {
    uint32_t nFound = 0;
    for (uint32_t n = 0; n < keys.nCount; ++n) {
        const int32_t nText = FindURLKey(map, keys.nKeys[n]);
        if (nText < 0) continue;
        uint16_t more[URLMAP_CATEGORIES_MAX];
        const uint32_t nMore = URLMapCategories(map, static_cast<uint32_t>(nText), more);
        for (const uint16_t nCategory : std::span(more).first(nMore)) {
            const auto known = categories.first(nFound);
            if (std::find(known.begin(), known.end(), nCategory) != known.end()) continue;
            if (nFound == categories.size()) return nFound;
            categories[nFound++] = nCategory;
        }
    }
    return nFound;
}

namespace {

int ReadFile(int fd, std::span<const uint8_t>* pBytes) {
    struct stat status;
    if (fstat(fd, &status) != 0) return URLMAP_SYSTEM;
    if (!S_ISREG(status.st_mode) || status.st_size < off_t{sizeof(tagURLMapHeader)}) return URLMAP_DAMAGED;
    const auto nBytes = static_cast<size_t>(status.st_size);
    void* const pMemory =
        mmap(nullptr, nBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    if (pMemory == MAP_FAILED) return errno == ENOMEM ? URLMAP_NO_MEMORY : URLMAP_SYSTEM;
    const int nResult = FillFrom(fd, static_cast<uint8_t*>(pMemory), nBytes);
    if (nResult != URLMAP_OK || mprotect(pMemory, nBytes, PROT_READ) != 0) {
        const int nError = errno;
        munmap(pMemory, nBytes);
        errno = nError;
        return nResult != URLMAP_OK ? nResult : URLMAP_SYSTEM;
    }
    *pBytes = {static_cast<const uint8_t*>(pMemory), nBytes};
    return URLMAP_OK;
}

int FillFrom(int fd, uint8_t* pMemory, size_t nBytes) {
    for (size_t nHave = 0; nHave < nBytes;) {
        const ssize_t nRead = read(fd, pMemory + nHave, nBytes - nHave);
        if (nRead < 0 && errno == EINTR) continue;
        if (nRead < 0) return URLMAP_SYSTEM;
        if (nRead == 0) return URLMAP_DAMAGED;  // shorter than it was a moment ago
        nHave += static_cast<size_t>(nRead);
    }
    return URLMAP_OK;
}

int CheckHeader(std::span<const uint8_t> bytes, uint32_t nKind, tagURLMapHeader* pHeader) {
    if (bytes.size() < sizeof *pHeader || reinterpret_cast<uintptr_t>(bytes.data()) % URLMAP_ALIGNMENT != 0) {
        return URLMAP_DAMAGED;
    }
    memcpy(pHeader, bytes.data(), sizeof *pHeader);
    if (memcmp(pHeader->szMagic, URLMAP_MAGIC, sizeof URLMAP_MAGIC) != 0) return URLMAP_DAMAGED;
    if (pHeader->nVersion != URLMAP_VERSION || pHeader->nByteOrder != URLMAP_BYTE_ORDER ||
        pHeader->nKind != nKind) {
        return URLMAP_OTHER;
    }
    if (pHeader->nIndexBits == 0 || pHeader->nIndexBits > URLMAP_INDEX_BITS_MAX ||
        pHeader->nNames > URLMAP_NAMES_MAX || pHeader->nTexts > URLMAP_TEXTS_MAX) {
        return URLMAP_DAMAGED;
    }
    tagURLMapHeader expected = *pHeader;
    LayOutURLMap(&expected);
    const bool bAsExpected = memcmp(&expected, pHeader, sizeof expected) == 0;
    return bAsExpected && pHeader->nTextsOffset <= bytes.size() && pHeader->nFileBytes == bytes.size()
               ? URLMAP_OK
               : URLMAP_DAMAGED;
}

// The header has been checked: every section lies inside the file.
void PointIntoBytes(tagURLMap* pMap, const uint8_t* pBytes, const tagURLMapHeader& header) {
    pMap->nKind = header.nKind;
    pMap->nNames = header.nNames;
    pMap->nIndexBits = header.nIndexBits;
    pMap->nTexts = header.nTexts;
    pMap->pIndex = SectionAt<uint32_t>(pBytes, header.nIndexOffset);
    pMap->pKeys = SectionAt<uint64_t>(pBytes, header.nKeysOffset);
    pMap->pValues = SectionAt<uint16_t>(pBytes, header.nValuesOffset);
    pMap->pOffsets = SectionAt<uint32_t>(pBytes, header.nOffsetsOffset);
    pMap->pTexts = SectionAt<char>(pBytes, header.nTextsOffset);
}

bool IsSound(const tagURLMap& map, uint64_t nTextBytes) {
    return AreBucketsSound(map) && AreTextsSound(map, nTextBytes) &&
           std::all_of(map.pValues, map.pValues + map.nNames,
                       [&map](uint16_t nText) { return nText < map.nTexts; });
}

// The buckets follow each other without a gap, and all keys ascend through buckets that are their own.
bool AreBucketsSound(const tagURLMap& map) {
    const uint32_t nBuckets = 1u << map.nIndexBits;
    if (map.pIndex[0] != 0 || map.pIndex[nBuckets] != map.nNames) return false;
    for (uint32_t nBucket = 0; nBucket < nBuckets; ++nBucket) {
        const uint32_t nEnd = map.pIndex[nBucket + 1];
        if (nEnd < map.pIndex[nBucket] || nEnd > map.nNames) return false;
        for (uint32_t n = map.pIndex[nBucket]; n < nEnd; ++n) {
            if (map.pKeys[n] >> (64 - map.nIndexBits) != nBucket) return false;
            if (n > 0 && map.pKeys[n] <= map.pKeys[n - 1]) return false;
        }
    }
    return true;
}

bool AreTextsSound(const tagURLMap& map, uint64_t nTextBytes) {
    if (map.pOffsets[0] != 0 || map.pOffsets[map.nTexts] != nTextBytes) return false;
    const bool bCategories = map.nKind == URLMAP_CATEGORIES;
    const uint32_t nLongest = bCategories ? URLMAP_CATEGORIES_MAX * sizeof(uint16_t) : URLMAP_TEXT_BYTES_MAX;
    for (uint32_t n = 0; n < map.nTexts; ++n) {
        const uint32_t nBytes = map.pOffsets[n + 1] - map.pOffsets[n];
        if (map.pOffsets[n + 1] < map.pOffsets[n] || nBytes == 0 || nBytes > nLongest) return false;
        if (bCategories && nBytes % sizeof(uint16_t) != 0) return false;
    }
    return true;
}

}  // namespace
