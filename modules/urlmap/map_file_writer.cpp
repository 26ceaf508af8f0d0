#include "modules/urlmap/map_file_writer.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>

#include "modules/urlmap/url_map_layout.h"

namespace {

constexpr uint32_t NAMES_PER_BUCKET = 8;  // one cache line of keys
constexpr mode_t MAP_MODE = 0644;

tagURLMapHeader MakeHeader(uint32_t nKind, std::span<const tagBuilderName> names, const tagTextTable& texts);
int MakeTemporary(const char* szPath, char (&szTemporary)[PATH_MAX]);
bool WriteContent(FILE* pFile, const tagURLMapHeader& header, std::span<const tagBuilderName> names,
                  const tagTextTable& texts);
void WriteIndex(FILE* pFile, uint32_t nIndexBits, std::span<const tagBuilderName> names);
void PadTo(FILE* pFile, uint64_t nOffset);
void SyncFolder(const char* szPath);

template <class Value>
void Put(FILE* pFile, const Value& value) {
    (void)fwrite_unlocked(&value, sizeof value, 1, pFile);
}

}  // namespace

int WriteMapFile(const char* szPath, uint32_t nKind, std::span<const tagBuilderName> names,
                 const tagTextTable& texts) {
    char szTemporary[PATH_MAX];
    const int fd = MakeTemporary(szPath, szTemporary);
    if (fd < 0) return URLMAP_SYSTEM;
    FILE* const pFile = fdopen(fd, "wb");
    bool bWritten = pFile && WriteContent(pFile, MakeHeader(nKind, names, texts), names, texts);
    int nError = errno;
    if ((pFile ? fclose(pFile) : close(fd)) != 0 && bWritten) {
        nError = errno;
        bWritten = false;
    }
    if (bWritten && rename(szTemporary, szPath) == 0) {
        SyncFolder(szPath);
        return URLMAP_OK;
    }
    if (bWritten) nError = errno;
    unlink(szTemporary);
    errno = nError;
    return URLMAP_SYSTEM;
}

namespace {

tagURLMapHeader MakeHeader(uint32_t nKind, std::span<const tagBuilderName> names, const tagTextTable& texts) {
    tagURLMapHeader header = {};
    memcpy(header.szMagic, URLMAP_MAGIC, sizeof header.szMagic);
    header.nVersion = URLMAP_VERSION;
    header.nByteOrder = URLMAP_BYTE_ORDER;
    header.nKind = nKind;
    header.nNames = static_cast<uint32_t>(names.size());
    header.nIndexBits = std::bit_width(header.nNames / NAMES_PER_BUCKET | 1);
    header.nTexts = texts.nTexts;
    LayOutURLMap(&header);
    header.nFileBytes = header.nTextsOffset + texts.nOffsets[texts.nTexts];
    return header;
}

int MakeTemporary(const char* szPath, char (&szTemporary)[PATH_MAX]) {
    const int nLength = snprintf(szTemporary, sizeof szTemporary, "%s.tmp-XXXXXX", szPath);
    if (nLength < 0 || static_cast<size_t>(nLength) >= sizeof szTemporary) {
        errno = ENAMETOOLONG;
        return -1;
    }
    return mkostemp(szTemporary, O_CLOEXEC);
}

// Failures of the single writes stick to the stream and are asked for once, at the end.
bool WriteContent(FILE* pFile, const tagURLMapHeader& header, std::span<const tagBuilderName> names,
                  const tagTextTable& texts) {
    Put(pFile, header);
    WriteIndex(pFile, header.nIndexBits, names);
    PadTo(pFile, header.nKeysOffset);
    for (const tagBuilderName& name : names)
        Put(pFile, name.nKey);
    for (const tagBuilderName& name : names)
        Put(pFile, name.nValue);
    PadTo(pFile, header.nOffsetsOffset);
    (void)fwrite(texts.nOffsets, sizeof *texts.nOffsets, size_t{texts.nTexts} + 1, pFile);
    PadTo(pFile, header.nTextsOffset);
    if (texts.nTexts != 0) (void)fwrite(texts.pBytes, texts.nOffsets[texts.nTexts], 1, pFile);
    return fflush(pFile) == 0 && !ferror(pFile) && fchmod(fileno(pFile), MAP_MODE) == 0 &&
           fsync(fileno(pFile)) == 0;
}

void WriteIndex(FILE* pFile, uint32_t nIndexBits, std::span<const tagBuilderName> names) {
    uint32_t nName = 0;
    for (uint64_t nBucket = 0; nBucket <= uint64_t{1} << nIndexBits; ++nBucket) {
        while (nName < names.size() && names[nName].nKey >> (64 - nIndexBits) < nBucket)
            ++nName;
        Put(pFile, nName);
    }
}

// At most seven zeros.
void PadTo(FILE* pFile, uint64_t nOffset) {
    for (auto nAt = ftello(pFile); nAt >= 0 && static_cast<uint64_t>(nAt) < nOffset; ++nAt)
        Put(pFile, '\0');
}

// Makes the new name last; where it cannot, an older list comes back after a crash and nothing worse.
void SyncFolder(const char* szPath) {
    const char* const szSlash = strrchr(szPath, '/');
    char szFolder[PATH_MAX] = ".";
    if (szSlash) {
        (void)snprintf(szFolder, sizeof szFolder, "%.*s/", static_cast<int>(szSlash - szPath), szPath);
    }
    const int fd = open(szFolder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return;
    (void)fsync(fd);
    close(fd);
}

}  // namespace
