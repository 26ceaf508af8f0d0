// Where the sections of a mapped list stand, for its reader and its writer.
#pragma once

#include <cstdint>

#include "modules/urlmap/url_map.h"

constexpr uint64_t URLMAP_ALIGNMENT = 8;

constexpr uint64_t AlignSection(uint64_t nOffset) {
    return (nOffset + URLMAP_ALIGNMENT - 1) / URLMAP_ALIGNMENT * URLMAP_ALIGNMENT;
}

// Fills in the offsets from the counts, which are within their limits; nothing can overflow then.
inline void LayOutURLMap(tagURLMapHeader* pHeader) {
    const uint64_t nIndexEntries = (uint64_t{1} << pHeader->nIndexBits) + 1;
    pHeader->nIndexOffset = sizeof(tagURLMapHeader);
    pHeader->nKeysOffset = AlignSection(pHeader->nIndexOffset + nIndexEntries * sizeof(uint32_t));
    pHeader->nValuesOffset = pHeader->nKeysOffset + uint64_t{pHeader->nNames} * sizeof(uint64_t);
    pHeader->nOffsetsOffset =
        AlignSection(pHeader->nValuesOffset + uint64_t{pHeader->nNames} * sizeof(uint16_t));
    pHeader->nTextsOffset =
        AlignSection(pHeader->nOffsetsOffset + (uint64_t{pHeader->nTexts} + 1) * sizeof(uint32_t));
}
