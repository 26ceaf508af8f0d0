// From a text to the first of many entries that holds it, without walking them: a hash table that is built
// once and then only read.
//
// The hash is a polynomial in the bytes, so the sums over one text give the hash of each of its pieces, and
// all tails of a host or all pieces of a URL are looked up for one pass over it. The table holds numbers of
// entries, not texts: whoever looks one up compares the text itself. With bFold, letters count as lower case.
//
// Works on its arguments only. A table in the making belongs to one thread; a finished one may be read by
// any.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

constexpr uint32_t NO_ENTRY = UINT32_MAX;
constexpr size_t HASHED_TEXT_MAX = 1023;  // bytes of the longest text that is looked up by its pieces

// Sums over the first n bytes of a text, for each n up to its length.
struct tagTextSums {
    uint64_t sums[HASHED_TEXT_MAX + 1];
};

uint64_t HashText(std::string_view text, bool bFold);

// The text holds at most HASHED_TEXT_MAX bytes.
void SumText(tagTextSums& sums, std::string_view text, bool bFold);

// The powers of the base. It is drawn anew by each process, so that nobody can compose texts of one hash.
extern const std::array<uint64_t, HASHED_TEXT_MAX + 1> HASH_POWERS;

// Spreads a hash: its upper bits tell more than its lower ones.
constexpr uint64_t MixHash(uint64_t nHash) {
    return (nHash ^ nHash >> 32) * 0x9E3779B97F4A7C55;
}

// HashText of the bytes from nStart up to nEnd.
inline uint64_t HashPiece(const tagTextSums& sums, size_t nStart, size_t nEnd) {
    return sums.sums[nEnd] - sums.sums[nStart] * HASH_POWERS[nEnd - nStart];
}

// A zeroed one is empty. A slot holds a tag, which most often settles that another text stands there, and
// the number of an entry.
struct tagTextTable {
    uint32_t nSlots;                                // a power of two, never all in use; 0 without any text
    uint32_t* pEntries;                             // the block that the table owns
    uint8_t* pTags;                                 // in the same block, behind the entries; 0: a free slot
    uint64_t lengths[(HASHED_TEXT_MAX + 64) / 64];  // bit n: a text of n bytes is there
};

// Makes an empty table for nTexts texts. 0, or 1 when memory runs out (the table stays zeroed).
int StartTextTable(tagTextTable& table, uint32_t nTexts);
void FreeTextTable(tagTextTable& table);

struct tagTextPlace {
    uint32_t nSlot;
    uint8_t nTag;
};
inline tagTextPlace PlaceOfText(const tagTextTable& table, uint64_t nHash) {
    const uint64_t nMixed = MixHash(nHash);
    return {static_cast<uint32_t>(nMixed >> 32) & (table.nSlots - 1), static_cast<uint8_t>(nMixed >> 24 | 1)};
}

// The entry that was added with that text, or NO_ENTRY. Same(nEntry) tells whether that entry has the text.
template <class SameFn>
uint32_t FindText(const tagTextTable& table, uint64_t nHash, SameFn Same) {
    if (table.nSlots == 0) return NO_ENTRY;
    const tagTextPlace place = PlaceOfText(table, nHash);
    for (uint32_t n = place.nSlot; table.pTags[n] != 0; n = (n + 1) & (table.nSlots - 1)) {
        if (table.pTags[n] == place.nTag && Same(table.pEntries[n])) return table.pEntries[n];
    }
    return NO_ENTRY;
}

// Adds a text of nBytes bytes that is not there yet: what is looked up is then the first entry that had it.
void AddText(tagTextTable& table, uint64_t nHash, size_t nBytes, uint32_t nEntry);

inline bool HasLength(const tagTextTable& table, size_t nBytes) {
    return table.lengths[nBytes / 64] >> nBytes % 64 & 1;
}

// Calls Take(nBytes) for each length that a text of the table has, up to nMost.
template <class TakeFn>
void ForEachLength(const tagTextTable& table, size_t nMost, TakeFn Take) {
    for (size_t nWord = 0; nWord * 64 <= nMost; ++nWord) {
        for (uint64_t bits = table.lengths[nWord]; bits != 0; bits &= bits - 1) {
            const size_t nBytes = nWord * 64 + static_cast<size_t>(std::countr_zero(bits));
            if (nBytes > nMost) return;
            Take(nBytes);
        }
    }
}

// Which bytes the texts of a table begin (or end) with: settles for most places of a URL that no text stands
// there.
struct tagTextEdges {
    size_t nBytes;  // how many are looked at: no more than the shortest text has
    uint64_t bits[512];
};
constexpr size_t EDGE_BYTES_MAX = 4;

inline uint32_t EdgeBit(const tagTextEdges& edges, uint64_t nHash) {
    return static_cast<uint32_t>(MixHash(nHash) >> 40) % (64 * std::size(edges.bits));
}
inline void AddEdge(tagTextEdges& edges, uint64_t nHash) {
    const uint32_t nBit = EdgeBit(edges, nHash);
    edges.bits[nBit / 64] |= uint64_t{1} << nBit % 64;
}
inline bool HasEdge(const tagTextEdges& edges, uint64_t nHash) {
    const uint32_t nBit = EdgeBit(edges, nHash);
    return edges.bits[nBit / 64] >> nBit % 64 & 1;
}
