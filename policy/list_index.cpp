#include "policy/list_index.h"

#include <algorithm>
#include <cstdlib>
#include <optional>

#include "common/ascii.h"
#include "policy/text_hash.h"

// Entries are known by their number in the chain.
struct tagListIndex {
    uint8_t nRules;
    const tagListEntry** ppEntries;
    tagTextTable names;  // what is compared as a whole
    tagTextTable tails;  // RULES_HOST: what a host may end in; RULES_URL: entries without their "www."
    tagTextEdges edges;  // RULES_ADDR: how the names begin
};

namespace {

constexpr size_t TAIL_BYTES_MAX = sizeof(tagListEntry::szEntry) - 1;

// Under which texts an entry is found.
struct tagKeys {
    std::optional<std::string_view> name, tail;
};

struct tagKeyCounts {
    uint32_t nEntries, nNames, nTails;
    size_t nShortestName;
};

tagKeys KeysOf(const tagListEntry* pEntry, uint8_t nRules);
tagKeyCounts CountKeys(const tagListEntry* pList, uint8_t nRules);
tagListIndex* NewIndex(const tagListEntry* pList, uint8_t nRules);
void AddEntry(tagListIndex& index, uint32_t nEntry);
void FreeIndex(tagListIndex* pIndex);
bool FoldsNames(const tagListIndex& index);
uint32_t FindName(const tagListIndex& index, uint64_t nHash, std::string_view name);
uint32_t FindTail(const tagListIndex& index, uint64_t nHash, std::string_view tail);
uint32_t FindAnyTail(const tagListIndex& index, std::string_view host);
const tagListEntry* EntryOf(const tagListIndex& index, uint32_t nEntry);

}  // namespace

void IndexList(tagListEntry* pList, uint8_t nRules) {
    tagChain* pChain = ChainOf(pList);
    if (!pChain) return;
    DropListIndex(*pChain);
    pChain->pIndex = NewIndex(pList, nRules);
}

void DropListIndex(tagChain& chain) {
    FreeIndex(chain.pIndex);
    chain.pIndex = nullptr;
}

const tagListIndex* IndexOf(const tagListEntry* pList, uint8_t nRules) {
    const tagChain* pChain = ChainOf(pList);
    return pChain && pChain->pIndex && pChain->pIndex->nRules == nRules ? pChain->pIndex : nullptr;
}

const tagListEntry* FindHost(const tagListIndex& index, std::string_view host) {
    constexpr std::string_view WWW = "www.";
    uint32_t nFirst = std::min(FindAnyTail(index, host), FindName(index, HashText(host, true), host));
    if (EqualNoCase(host.substr(0, WWW.size()), WWW)) {
        const std::string_view bare = host.substr(WWW.size());
        nFirst = std::min(nFirst, FindName(index, HashText(bare, true), bare));
    }
    return EntryOf(index, nFirst);
}

const tagListEntry* FindURL(const tagListIndex& index, std::string_view url) {
    const uint64_t nHash = HashText(url, false);
    uint32_t nFirst = FindName(index, nHash, url);
    if (url.size() > 3 && !EqualNoCase(url.substr(0, 3), "www")) {
        nFirst = std::min(nFirst, FindTail(index, nHash, url));
    }
    return EntryOf(index, nFirst);
}

const tagListEntry* FindAddress(const tagListIndex& index, std::string_view url) {
    return EntryOf(index, FindName(index, HashText(url, true), url));
}

const tagListEntry* FindAddressWithin(const tagListIndex& index, std::string_view url) {
    url = url.substr(0, HASHED_TEXT_MAX);
    tagTextSums sums;
    SumText(sums, url, true);
    uint32_t nFirst = NO_ENTRY;
    for (size_t n = 0; n + index.edges.nBytes <= url.size(); ++n) {
        if (!HasEdge(index.edges, HashPiece(sums, n, n + index.edges.nBytes))) continue;
        ForEachLength(index.names, url.size() - n, [&](size_t nBytes) {
            nFirst = std::min(nFirst, FindName(index, HashPiece(sums, n, n + nBytes), url.substr(n, nBytes)));
        });
    }
    return EntryOf(index, nFirst);
}

namespace {

// A dotted host entry covers what ends in it, with its leading "." or ".www." or without: so whatever ends in
// the shortest of these. Any other covers its name without "www.", and "www." with that.
tagKeys KeysOf(const tagListEntry* pEntry, uint8_t nRules) {
    constexpr std::string_view WWW = "www.", DOTTED_WWW = ".www.";
    const std::string_view entry(pEntry->szEntry);
    if (nRules == RULES_ADDR) return {entry, {}};
    if (nRules == RULES_URL) {
        if (entry.size() <= WWW.size() || !EqualNoCase(entry.substr(0, WWW.size()), WWW)) return {entry, {}};
        return {entry, entry.substr(WWW.size())};
    }
    if (!entry.starts_with('.')) return {entry.starts_with(WWW) ? entry.substr(WWW.size()) : entry, {}};
    for (const std::string_view head : {DOTTED_WWW, std::string_view(".")}) {
        if (entry.size() > head.size() && entry.starts_with(head)) return {{}, entry.substr(head.size())};
    }
    return {{}, entry};
}

tagKeyCounts CountKeys(const tagListEntry* pList, uint8_t nRules) {
    tagKeyCounts counts = {0, 0, 0, EDGE_BYTES_MAX};
    for (; pList; pList = pList->pNext) {
        const tagKeys keys = KeysOf(pList, nRules);
        ++counts.nEntries;
        if (keys.name) ++counts.nNames;
        if (keys.tail) ++counts.nTails;
        if (keys.name) counts.nShortestName = std::min(counts.nShortestName, keys.name->size());
    }
    return counts;
}

tagListIndex* NewIndex(const tagListEntry* pList, uint8_t nRules) {
    auto* pIndex = static_cast<tagListIndex*>(std::calloc(1, sizeof(tagListIndex)));
    if (!pIndex) return nullptr;
    const tagKeyCounts counts = CountKeys(pList, nRules);
    pIndex->nRules = nRules;
    pIndex->edges.nBytes = counts.nShortestName;
    pIndex->ppEntries = static_cast<const tagListEntry**>(std::calloc(counts.nEntries, sizeof(void*)));
    if (!pIndex->ppEntries || StartTextTable(pIndex->names, counts.nNames) != 0 ||
        StartTextTable(pIndex->tails, counts.nTails) != 0) {
        FreeIndex(pIndex);
        return nullptr;
    }
    for (uint32_t n = 0; pList; pList = pList->pNext, ++n) {
        pIndex->ppEntries[n] = pList;
        AddEntry(*pIndex, n);
    }
    return pIndex;
}

void AddEntry(tagListIndex& index, uint32_t nEntry) {
    const tagKeys keys = KeysOf(index.ppEntries[nEntry], index.nRules);
    if (keys.name) {
        const uint64_t nHash = HashText(*keys.name, FoldsNames(index));
        if (FindName(index, nHash, *keys.name) == NO_ENTRY) {
            AddText(index.names, nHash, keys.name->size(), nEntry);
        }
        AddEdge(index.edges, HashText(keys.name->substr(0, index.edges.nBytes), FoldsNames(index)));
    }
    if (keys.tail) {
        const uint64_t nHash = HashText(*keys.tail, false);
        if (FindTail(index, nHash, *keys.tail) == NO_ENTRY) {
            AddText(index.tails, nHash, keys.tail->size(), nEntry);
        }
    }
}

void FreeIndex(tagListIndex* pIndex) {
    if (!pIndex) return;
    FreeTextTable(pIndex->names);
    FreeTextTable(pIndex->tails);
    std::free(pIndex->ppEntries);
    std::free(pIndex);
}

bool FoldsNames(const tagListIndex& index) {
    return index.nRules != RULES_URL;
}

uint32_t FindName(const tagListIndex& index, uint64_t nHash, std::string_view name) {
    return FindText(index.names, nHash, [&](uint32_t nEntry) {
        const std::string_view key = *KeysOf(index.ppEntries[nEntry], index.nRules).name;
        return FoldsNames(index) ? EqualNoCase(key, name) : key == name;
    });
}

uint32_t FindTail(const tagListIndex& index, uint64_t nHash, std::string_view tail) {
    return FindText(index.tails, nHash, [&](uint32_t nEntry) {
        return *KeysOf(index.ppEntries[nEntry], index.nRules).tail == tail;
    });
}

uint32_t FindAnyTail(const tagListIndex& index, std::string_view host) {
    if (index.tails.nSlots == 0) return NO_ENTRY;
    host.remove_prefix(host.size() - std::min(host.size(), TAIL_BYTES_MAX));
    tagTextSums sums;
    SumText(sums, host, false);
    uint32_t nFirst = NO_ENTRY;
    ForEachLength(index.tails, host.size(), [&](size_t nBytes) {
        const size_t nStart = host.size() - nBytes;
        const uint64_t nHash = HashPiece(sums, nStart, host.size());
        nFirst = std::min(nFirst, FindTail(index, nHash, host.substr(nStart)));
    });
    return nFirst;
}

const tagListEntry* EntryOf(const tagListIndex& index, uint32_t nEntry) {
    return nEntry == NO_ENTRY ? nullptr : index.ppEntries[nEntry];
}

}  // namespace
