#include "policy/pattern_index.h"

#include <algorithm>
#include <cstdlib>

#include "common/ascii.h"
#include "policy/text_hash.h"

struct tagPatternIndex {
    bool bFold;
    tagTextTable prefixes;  // what a URL may begin with
    tagTextTable pieces;    // what it may contain: the patterns with a "*"
    tagTextEdges edges;     // how the pieces end
};

namespace {

// One look-up.
struct tagSearch {
    const tagPatternTable& table;
    std::string_view url;
    const tagTextSums& sums;  // of the URL
};

void FreeIndex(tagPatternIndex* pIndex);
uint32_t FindPrefix(const tagSearch& search, size_t nEnd);
uint32_t FindPiece(const tagSearch& search, size_t nEnd);
void AddPattern(const tagPatternTable& table, uint32_t nPattern);
uint32_t FindKey(const tagPatternTable& table, bool bPiece, uint64_t nHash, std::string_view text);
bool SameText(const tagPatternIndex& index, std::string_view a, std::string_view b);
bool IsSeparator(char c);
bool IsPiece(const char* szPattern);
std::string_view KeyOf(const char* szPattern);

}  // namespace

void IndexPatterns(tagPatternTable& table, bool bFold) {
    if (table.nCount == 0) return;
    auto* pIndex = static_cast<tagPatternIndex*>(std::calloc(1, sizeof(tagPatternIndex)));
    if (!pIndex) return;
    pIndex->bFold = bFold;
    pIndex->edges.nBytes = EDGE_BYTES_MAX;
    uint32_t nPieces = 0;
    for (uint32_t n = 0; n < table.nCount; ++n) {
        if (!IsPiece(table.pPatterns[n])) continue;
        ++nPieces;
        pIndex->edges.nBytes = std::min(pIndex->edges.nBytes, KeyOf(table.pPatterns[n]).size());
    }
    if (StartTextTable(pIndex->prefixes, table.nCount - nPieces) != 0 ||
        StartTextTable(pIndex->pieces, nPieces) != 0) {
        FreeIndex(pIndex);
        return;
    }
    table.pIndex = pIndex;
    for (uint32_t n = 0; n < table.nCount; ++n)
        AddPattern(table, n);
}

void DropPatternIndex(tagPatternTable& table) {
    FreeIndex(table.pIndex);
    table.pIndex = nullptr;
}

bool HasPatternIndex(const tagPatternTable& table, bool bFold) {
    return table.pIndex && table.pIndex->bFold == bFold;
}

// A pattern ends where the URL ends or goes on with a separator: only there is one looked for.
uint32_t FindPattern(const tagPatternTable& table, std::string_view url) {
    url = url.substr(0, HASHED_TEXT_MAX);
    tagTextSums sums;
    SumText(sums, url, table.pIndex->bFold);
    const tagSearch search = {table, url, sums};
    uint32_t nFirst = NO_ENTRY;
    for (size_t nEnd = 0; nEnd <= url.size(); ++nEnd) {
        if (nEnd < url.size() && !IsSeparator(url[nEnd])) continue;
        nFirst = std::min({nFirst, FindPrefix(search, nEnd), FindPiece(search, nEnd)});
    }
    return nFirst;
}

namespace {

void FreeIndex(tagPatternIndex* pIndex) {
    if (!pIndex) return;
    FreeTextTable(pIndex->prefixes);
    FreeTextTable(pIndex->pieces);
    std::free(pIndex);
}

uint32_t FindPrefix(const tagSearch& search, size_t nEnd) {
    if (!HasLength(search.table.pIndex->prefixes, nEnd)) return NO_ENTRY;
    return FindKey(search.table, false, HashPiece(search.sums, 0, nEnd), search.url.substr(0, nEnd));
}

// Only the first occurrence of a pattern in the URL counts.
uint32_t FindPiece(const tagSearch& search, size_t nEnd) {
    const tagPatternIndex& index = *search.table.pIndex;
    if (index.pieces.nSlots == 0 || nEnd < index.edges.nBytes) return NO_ENTRY;
    if (!HasEdge(index.edges, HashPiece(search.sums, nEnd - index.edges.nBytes, nEnd))) return NO_ENTRY;

    uint32_t nFirst = NO_ENTRY;
    ForEachLength(index.pieces, nEnd, [&](size_t nBytes) {
        const size_t nStart = nEnd - nBytes;
        const std::string_view piece = search.url.substr(nStart, nBytes);
        const uint32_t nFound = FindKey(search.table, true, HashPiece(search.sums, nStart, nEnd), piece);
        if (nFound >= nFirst) return;
        const size_t nOccurs = index.bFold ? FindNoCase(search.url, piece) : search.url.find(piece);
        if (nOccurs == nStart) nFirst = nFound;
    });
    return nFirst;
}

void AddPattern(const tagPatternTable& table, uint32_t nPattern) {
    tagPatternIndex& index = *table.pIndex;
    const char* szPattern = table.pPatterns[nPattern];
    const std::string_view key = KeyOf(szPattern);
    const bool bPiece = IsPiece(szPattern);
    const uint64_t nHash = HashText(key, index.bFold);
    if (FindKey(table, bPiece, nHash, key) != NO_ENTRY) return;
    AddText(bPiece ? index.pieces : index.prefixes, nHash, key.size(), nPattern);
    if (!bPiece) return;
    AddEdge(index.edges, HashText(key.substr(key.size() - index.edges.nBytes), index.bFold));
}

uint32_t FindKey(const tagPatternTable& table, bool bPiece, uint64_t nHash, std::string_view text) {
    const tagPatternIndex& index = *table.pIndex;
    return FindText(bPiece ? index.pieces : index.prefixes, nHash, [&](uint32_t nPattern) {
        return SameText(index, KeyOf(table.pPatterns[nPattern]), text);
    });
}

bool SameText(const tagPatternIndex& index, std::string_view a, std::string_view b) {
    return index.bFold ? EqualNoCase(a, b) : a == b;
}

bool IsSeparator(char c) {
    return c == '/' || c == '?' || c == '#';
}

bool IsPiece(const char* szPattern) {
    return szPattern[0] == '*';
}

// Without the "*" and one "/" at the end.
std::string_view KeyOf(const char* szPattern) {
    std::string_view key(szPattern);
    if (key.starts_with('*')) key.remove_prefix(1);
    if (key.ends_with('/')) key.remove_suffix(1);
    return key;
}

}  // namespace
