#include "category/catalogue_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "common/cancellation_off.h"

namespace {

constexpr off_t CATALOGUE_BYTES_MAX = 1 << 20;
constexpr uint32_t CATALOGUE_MAGIC = 0x950412DE;

struct tagCatalogueHeader {
    uint32_t nMagic;
    uint16_t nMinor;
    uint16_t nMajor;
    uint32_t nTexts;
    uint32_t nOriginals;     // where their descriptors begin
    uint32_t nTranslations;  // likewise
    uint32_t nHashEntries;
    uint32_t nHash;
};
struct tagCatalogueText {
    uint32_t nLength;
    uint32_t nOffset;
};

struct tagCatalogue {
    const uint8_t* pBytes;
    uint64_t nBytes;
};

bool IsSoundFile(int fd);
bool IsSound(const tagCatalogue& catalogue);
bool AreTextsSound(const tagCatalogue& catalogue, uint32_t nTexts, uint64_t nOffset);
bool IsHashSound(const tagCatalogue& catalogue, const tagCatalogueHeader& header);

// False when the record is not all within the catalogue.
template <class Record>
bool ReadAt(const tagCatalogue& catalogue, uint64_t nOffset, Record& record) {
    if (nOffset > catalogue.nBytes || catalogue.nBytes - nOffset < sizeof record) return false;
    std::memcpy(&record, catalogue.pBytes + nOffset, sizeof record);
    return true;
}

}  // namespace

int IsSoundCatalogue(const char* szPath) {
    const CancellationOff cancellationOff;
    const int fd = szPath ? open(szPath, O_RDONLY | O_CLOEXEC | O_NONBLOCK) : -1;
    if (fd < 0) return 0;
    const bool bSound = IsSoundFile(fd);
    close(fd);
    return bSound ? 1 : 0;
}

namespace {

bool IsSoundFile(int fd) {
    struct stat about {};
    if (fstat(fd, &about) != 0 || !S_ISREG(about.st_mode) || about.st_size > CATALOGUE_BYTES_MAX)
        return false;
    const auto nBytes = static_cast<size_t>(about.st_size);
    auto* pBytes = static_cast<uint8_t*>(std::malloc(nBytes + 1));
    if (!pBytes) return false;
    const bool bSound =
        pread(fd, pBytes, nBytes, 0) == static_cast<ssize_t>(nBytes) && IsSound({pBytes, nBytes});
    std::free(pBytes);
    return bSound;
}

bool IsSound(const tagCatalogue& catalogue) {
    tagCatalogueHeader header;
    return ReadAt(catalogue, 0, header) && header.nMagic == CATALOGUE_MAGIC && header.nMajor <= 1 &&
           header.nMinor == 0 && AreTextsSound(catalogue, header.nTexts, header.nOriginals) &&
           AreTextsSound(catalogue, header.nTexts, header.nTranslations) && IsHashSound(catalogue, header);
}

// Each text ends with a NUL behind its length.
bool AreTextsSound(const tagCatalogue& catalogue, uint32_t nTexts, uint64_t nOffset) {
    for (uint32_t n = 0; n < nTexts; ++n) {
        tagCatalogueText text;
        uint8_t nEnd = 1;
        if (!ReadAt(catalogue, nOffset + n * sizeof text, text)) return false;
        if (!ReadAt(catalogue, uint64_t{text.nOffset} + text.nLength, nEnd) || nEnd != 0) return false;
    }
    return true;
}

// A search ends at a free entry (0), so there has to be one; up to two entries are no table.
bool IsHashSound(const tagCatalogue& catalogue, const tagCatalogueHeader& header) {
    if (header.nHashEntries <= 2) return true;
    bool bFree = false;
    for (uint32_t n = 0; n < header.nHashEntries; ++n) {
        uint32_t nText = 0;
        if (!ReadAt(catalogue, header.nHash + uint64_t{n} * sizeof nText, nText) || nText > header.nTexts)
            return false;
        bFree = bFree || nText == 0;
    }
    return bFree;
}

}  // namespace
