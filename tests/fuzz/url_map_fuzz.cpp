// Hostile list files: the input as it is, and once more with a header that fits its length, so that the
// sections behind it are reached.
#include <cstring>
#include <memory>

#include "modules/urlmap/url_map.h"
#include "modules/urlmap/url_map_layout.h"
#include "tests/fuzz/fuzz_segment.h"

namespace {

// Whatever was accepted answers every key, and every answer can be read.
void AskAll(const tagURLMap& map) {
    for (uint32_t n = 0; n < map.nNames; ++n) {
        const int32_t nText = FindURLKey(map, map.pKeys[n]);
        Require(nText == map.pValues[n]);
        tagURLKeys keys = {3, {map.pKeys[n] - 1, map.pKeys[n] + 1, map.pKeys[n]}};
        Require(FindURLKeys(map, keys) >= 0);
        if (map.nKind == URLMAP_CATEGORIES) {
            uint16_t categories[URLMAP_CATEGORIES_MAX];
            const uint32_t nFound = FindURLCategories(map, keys, categories);
            Require(nFound > 0 && nFound <= URLMAP_CATEGORIES_MAX);
        }
    }
    size_t nBytes = 0;
    for (uint32_t n = 0; n < map.nTexts; ++n) {
        for (const char c : URLMapText(map, n))
            nBytes += c != '\0';
    }
    Require(nBytes <= size_t{map.nTexts} * URLMAP_TEXT_BYTES_MAX);
    for (const uint64_t nKey : {uint64_t{0}, uint64_t{1} << 63, UINT64_MAX})
        (void)FindURLKey(map, nKey);
}

void TryKinds(const uint8_t* pBytes, size_t nSize) {
    for (const uint32_t nKind : {URLMAP_THREATS, URLMAP_CATEGORIES}) {
        tagURLMap map;
        if (AttachURLMap(&map, {pBytes, nSize}, nKind) == URLMAP_OK) AskAll(map);
        CloseURLMap(&map);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    // A block of exactly this size, so that one byte too far is seen.
    const std::unique_ptr<uint8_t[]> bytes(new uint8_t[nSize]);
    if (nSize != 0) std::memcpy(bytes.get(), pData, nSize);
    TryKinds(bytes.get(), nSize);

    tagURLMapHeader header;
    if (nSize < sizeof header) return 0;
    std::memcpy(&header, pData, sizeof header);
    std::memcpy(header.szMagic, URLMAP_MAGIC, sizeof header.szMagic);
    header.nVersion = URLMAP_VERSION;
    header.nByteOrder = URLMAP_BYTE_ORDER;
    header.nKind = header.nKind % 2 == 0 ? URLMAP_CATEGORIES : URLMAP_THREATS;
    header.nNames %= 16;
    header.nIndexBits = 1 + header.nIndexBits % 4;
    header.nTexts %= 8;
    LayOutURLMap(&header);
    header.nFileBytes = nSize;
    std::memcpy(bytes.get(), &header, sizeof header);
    TryKinds(bytes.get(), nSize);
    return 0;
}
