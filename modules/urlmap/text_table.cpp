#include "modules/urlmap/text_table.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <functional>

namespace {

constexpr uint32_t FIRST_ROOM = 4096;

bool MakeRoom(tagTextTable* pTable, uint32_t nBytes);

}  // namespace

tagTextTable* MakeTextTable() {
    return static_cast<tagTextTable*>(calloc(1, sizeof(tagTextTable)));
}

void FreeTextTable(tagTextTable* pTable) {
    if (pTable) free(pTable->pBytes);
    free(pTable);
}

int NumberOfText(tagTextTable* pTable, std::string_view text, uint16_t* pNumber) {
    // Half of the slots at least are free, so the walk ends.
    size_t nSlot = std::hash<std::string_view>{}(text) % std::size(pTable->nSlots);
    for (; pTable->nSlots[nSlot] != 0; nSlot = (nSlot + 1) % std::size(pTable->nSlots)) {
        const uint32_t nText = pTable->nSlots[nSlot] - 1;
        const uint32_t* const pOffset = &pTable->nOffsets[nText];
        if (std::string_view(pTable->pBytes + pOffset[0], pOffset[1] - pOffset[0]) != text) continue;
        *pNumber = static_cast<uint16_t>(nText);
        return URLMAP_OK;
    }
    if (pTable->nTexts == URLMAP_TEXTS_MAX) return URLMAP_TOO_MANY;
    const uint32_t nEnd = pTable->nOffsets[pTable->nTexts];
    const auto nBytes = static_cast<uint32_t>(text.size());
    if (!MakeRoom(pTable, nEnd + nBytes)) return URLMAP_NO_MEMORY;
    memcpy(pTable->pBytes + nEnd, text.data(), nBytes);
    *pNumber = static_cast<uint16_t>(pTable->nTexts++);
    pTable->nOffsets[pTable->nTexts] = nEnd + nBytes;
    pTable->nSlots[nSlot] = pTable->nTexts;
    return URLMAP_OK;
}

namespace {

bool MakeRoom(tagTextTable* pTable, uint32_t nBytes) {
    if (nBytes <= pTable->nRoom) return true;
    const uint32_t nRoom = std::max({nBytes, FIRST_ROOM, pTable->nRoom * 2});
    auto* const pBytes = static_cast<char*>(realloc(pTable->pBytes, nRoom));
    if (!pBytes) return false;
    pTable->pBytes = pBytes;
    pTable->nRoom = nRoom;
    return true;
}

}  // namespace
