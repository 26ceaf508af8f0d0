#include "modules/urlmap/url_map_builder.h"

#include <stdlib.h>

#include <algorithm>
#include <span>

#include "modules/urlmap/map_file_writer.h"
#include "modules/urlmap/text_table.h"

namespace {

constexpr uint32_t FIRST_ROOM = 4096;

int AddName(tagURLMapBuilder* pBuilder, uint64_t nKey, uint16_t nValue);
int MergeNames(tagURLMapBuilder* pBuilder);
int MergeCategories(tagURLMapBuilder* pBuilder, std::span<const tagBuilderName> same, uint16_t* pText);

}  // namespace

int StartURLMap(tagURLMapBuilder* pBuilder, uint32_t nKind) {
    *pBuilder = {};
    pBuilder->nKind = nKind;
    pBuilder->pTexts = MakeTextTable();
    return pBuilder->pTexts ? URLMAP_OK : URLMAP_NO_MEMORY;
}

int AddThreat(tagURLMapBuilder* pBuilder, uint64_t nKey, std::string_view name) {
    uint16_t nText = 0;
    const int nResult = NumberOfText(pBuilder->pTexts, name.substr(0, URLMAP_TEXT_BYTES_MAX), &nText);
    return nResult == URLMAP_OK ? AddName(pBuilder, nKey, nText) : nResult;
}

int AddCategory(tagURLMapBuilder* pBuilder, uint64_t nKey, uint16_t nCategory) {
    return AddName(pBuilder, nKey, nCategory);
}

int WriteURLMap(tagURLMapBuilder* pBuilder, const char* szPath) {
    if (const int nFailed = MergeNames(pBuilder)) return nFailed;
    return WriteMapFile(szPath, pBuilder->nKind, {pBuilder->pNames, pBuilder->nNames}, *pBuilder->pTexts);
}

void FreeURLMapBuilder(tagURLMapBuilder* pBuilder) {
    free(pBuilder->pNames);
    FreeTextTable(pBuilder->pTexts);
    *pBuilder = {};
}

namespace {

int AddName(tagURLMapBuilder* pBuilder, uint64_t nKey, uint16_t nValue) {
    if (pBuilder->nNames == URLMAP_NAMES_MAX) return URLMAP_TOO_MANY;
    if (pBuilder->nNames == pBuilder->nRoom) {
        // Large blocks grow by remapping, so the old and the new one are not in memory together.
        const uint32_t nRoom = std::max(FIRST_ROOM, pBuilder->nRoom + pBuilder->nRoom / 2);
        void* const pNames = realloc(pBuilder->pNames, size_t{nRoom} * sizeof(tagBuilderName));
        if (!pNames) return URLMAP_NO_MEMORY;
        pBuilder->pNames = static_cast<tagBuilderName*>(pNames);
        pBuilder->nRoom = nRoom;
    }
    pBuilder->pNames[pBuilder->nNames] = {nKey, pBuilder->nNames, nValue};
    ++pBuilder->nNames;
    return URLMAP_OK;
}

// Sorts by key and order of adding, then moves the names that differ to the front.
int MergeNames(tagURLMapBuilder* pBuilder) {
    const std::span<tagBuilderName> names(pBuilder->pNames, pBuilder->nNames);
    std::sort(names.begin(), names.end(), [](const tagBuilderName& a, const tagBuilderName& b) {
        return a.nKey != b.nKey ? a.nKey < b.nKey : a.nOrder < b.nOrder;
    });
    uint32_t nKept = 0;
    for (size_t nFirst = 0; nFirst < names.size();) {
        size_t nEnd = nFirst + 1;
        while (nEnd < names.size() && names[nEnd].nKey == names[nFirst].nKey)
            ++nEnd;
        tagBuilderName merged = names[nFirst];
        if (pBuilder->nKind == URLMAP_CATEGORIES) {
            const auto same = names.subspan(nFirst, nEnd - nFirst);
            if (const int nFailed = MergeCategories(pBuilder, same, &merged.nValue)) return nFailed;
        }
        names[nKept++] = merged;
        nFirst = nEnd;
    }
    pBuilder->nMerged = pBuilder->nNames - nKept;
    pBuilder->nNames = nKept;
    return URLMAP_OK;
}

int MergeCategories(tagURLMapBuilder* pBuilder, std::span<const tagBuilderName> same, uint16_t* pText) {
    uint16_t categories[URLMAP_CATEGORIES_MAX];
    uint32_t nCategories = 0;
    for (const tagBuilderName& name : same) {
        if (std::find(categories, categories + nCategories, name.nValue) != categories + nCategories)
            continue;
        if (nCategories == URLMAP_CATEGORIES_MAX) {
            ++pBuilder->nCategoriesLost;
        } else {
            categories[nCategories++] = name.nValue;
        }
    }
    const std::string_view text(reinterpret_cast<const char*>(categories), nCategories * sizeof *categories);
    return NumberOfText(pBuilder->pTexts, text, pText);
}

}  // namespace
