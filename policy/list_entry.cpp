#include "policy/list_entry.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "common/copy_text.h"
#include "inspect/url_helpers.h"
#include "policy/list_index.h"

namespace {

// Each list, in the making and in force, and how its entries match.
struct tagPolicyList {
    tagListEntry* tagPolicyLists::*pHead;
    tagListEntry** ppInForce;
    uint8_t nRules;
};

constexpr std::array<tagPolicyList, 7> POLICY_LISTS = {{
    {&tagPolicyLists::pAllowHosts, &g_pAllowHostList, RULES_HOST},
    {&tagPolicyLists::pBlockHosts, &g_pBlockHostList, RULES_HOST},
    {&tagPolicyLists::pAllowURLs, &g_pAllowURLList, RULES_URL},
    {&tagPolicyLists::pBlockURLs, &g_pBlockURLList, RULES_URL},
    {&tagPolicyLists::pAllowAddrs, &g_pAllowAddrList, RULES_ADDR},
    {&tagPolicyLists::pBlockAddrs, &g_pBlockAddrList, RULES_ADDR},
    {&tagPolicyLists::pTrustedSites, &g_pTrustedSiteList, RULES_URL},
}};

// Where the entries of one kind go. Null: entries of that type stay out of such a list.
struct tagKindLists {
    tagListEntry* tagPolicyLists::*pHosts;
    tagListEntry* tagPolicyLists::*pURLs;
    tagListEntry* tagPolicyLists::*pAddrs;
};

constexpr std::array<tagKindLists, 3> LISTS_OF_KIND = {{
    {&tagPolicyLists::pBlockHosts, &tagPolicyLists::pBlockURLs, &tagPolicyLists::pBlockAddrs},
    {&tagPolicyLists::pAllowHosts, &tagPolicyLists::pAllowURLs, &tagPolicyLists::pAllowAddrs},
    {&tagPolicyLists::pTrustedSites, &tagPolicyLists::pTrustedSites, nullptr},
}};
static_assert(LIST_BLOCK == 0 && LIST_ALLOW == 1 && LIST_TRUSTED == 2);

void SplitScheme(tagListEntryBuf& entry);
void CoverSubdomains(tagListEntryBuf& entry);
uint8_t TypeOfEntry(const char* szEntry);
tagListEntry* LinkNode(tagListEntry** ppHead, size_t nTextBytes);
void Link(tagListEntry* pHead, tagListEntry* pNode);

}  // namespace

int ParseListEntry(tagListEntryBuf& entry) {
    SplitScheme(entry);
    if (entry.bSubdomains == 1 && entry.szHostPart[0] != '.') {
        CoverSubdomains(entry);
    } else {
        CopyText(entry.szEntry, entry.szHostPart);
    }
    (void)TrimURLTail(entry.szEntry, std::strlen(entry.szEntry));
    entry.nEntryType = TypeOfEntry(entry.szEntry);
    return 0;
}

int AddListEntry(tagListEntryBuf& entry) {
    tagPolicyLists lists = {};
    SwapPolicyLists(lists);
    const int nResult = AddListEntryTo(lists, entry);
    SwapPolicyLists(lists);
    return nResult;
}

int AddListEntryTo(tagPolicyLists& lists, tagListEntryBuf& entry) {
    if (std::strlen(entry.szSource) < 2) return 2;
    (void)ParseListEntry(entry);

    const tagKindLists& kind = LISTS_OF_KIND[entry.nListKind];
    if (entry.nEntryType == ENTRY_HOST) {
        (void)AppendListText(&(lists.*kind.pHosts), entry.szEntry);
        return 0;
    }
    (void)AppendListText(&(lists.*kind.pURLs), entry.szEntry);
    if (entry.nEntryType == ENTRY_ADDRESS && kind.pAddrs) {
        (void)AppendListText(&(lists.*kind.pAddrs), entry.szEntry);
    }
    return 0;
}

tagListEntry* AppendListEntry(tagListEntry** ppHead) {
    return ppHead ? LinkNode(ppHead, sizeof tagListEntry::szEntry) : nullptr;
}

int AppendListText(tagListEntry** ppHead, std::string_view text) {
    text = text.substr(0, sizeof tagListEntry::szEntry - 1);
    tagListEntry* pNode = LinkNode(ppHead, text.size() + 1);
    if (!pNode) {
        FreeList(ppHead);
        return -1;
    }
    if (!text.empty()) std::memcpy(pNode->szEntry, text.data(), text.size());
    return 0;
}

void FreeList(tagListEntry** ppHead) {
    if (!ppHead) return;
    tagListEntry* pNode = *ppHead;
    *ppHead = nullptr;
    while (pNode) {
        tagListEntry* pNext = pNode->pNext;
        tagChain* pChain = ChainOf(pNode);
        if (pChain) DropListIndex(*pChain);
        std::free(pChain ? static_cast<void*>(pChain) : pNode);
        pNode = pNext;
    }
}

void SwapPolicyLists(tagPolicyLists& lists) {
    for (const tagPolicyList& list : POLICY_LISTS)
        std::swap(lists.*list.pHead, *list.ppInForce);
}

void FreePolicyLists() {
    tagPolicyLists lists = {};
    SwapPolicyLists(lists);
    FreePolicyLists(lists);
}

void FreePolicyLists(tagPolicyLists& lists) {
    for (const tagPolicyList& list : POLICY_LISTS)
        FreeList(&(lists.*list.pHead));
}

void IndexPolicyLists(const tagPolicyLists& lists) {
    for (const tagPolicyList& list : POLICY_LISTS)
        IndexList(lists.*list.pHead, list.nRules);
}

namespace {

// szHostPart becomes szSource without scheme and port.
void SplitScheme(tagListEntryBuf& entry) {
    constexpr std::string_view WEB_SCHEMES[] = {"http://", "https://"};
    constexpr std::string_view FTP_SCHEME = "ftp://";
    const std::string_view source(entry.szSource);

    size_t nStart = 0;
    for (const std::string_view scheme : WEB_SCHEMES) {
        if (source.starts_with(scheme)) nStart = scheme.size();
    }
    if (source.starts_with(FTP_SCHEME)) {
        nStart = FTP_SCHEME.size();
        g_bKeepPathAfterPort = 1;
    }
    (void)StripURLPort(entry.szSource, nStart);
    g_bKeepPathAfterPort = 0;
    CopyText(entry.szHostPart, std::string_view(entry.szSource).substr(nStart));
}

// szEntry becomes "." and szHostPart, which loses its last character when it fills its field.
void CoverSubdomains(tagListEntryBuf& entry) {
    const size_t nLength = std::min(std::strlen(entry.szHostPart), sizeof entry.szEntry - 2);
    entry.szEntry[0] = '.';
    std::memcpy(entry.szEntry + 1, entry.szHostPart, nLength);
    entry.szEntry[1 + nLength] = '\0';
}

uint8_t TypeOfEntry(const char* szEntry) {
    if (std::strchr(szEntry, '/')) return ENTRY_URL;
    return IsDottedIPv4(szEntry) == 0 ? ENTRY_ADDRESS : ENTRY_HOST;
}

// A zeroed node whose text takes so many bytes, its NUL among them, at the tail; null when memory runs out.
tagListEntry* LinkNode(tagListEntry** ppHead, size_t nTextBytes) {
    static_assert(sizeof(tagChain) % alignof(tagListEntry) == 0);
    const size_t nChainBytes = *ppHead ? 0 : sizeof(tagChain);
    auto* pBlock =
        static_cast<char*>(std::calloc(1, nChainBytes + offsetof(tagListEntry, szEntry) + nTextBytes));
    if (!pBlock) return nullptr;
    auto* pNode = reinterpret_cast<tagListEntry*>(pBlock + nChainBytes);
    if (*ppHead) {
        Link(*ppHead, pNode);
        return pNode;
    }
    pNode->bHasChain = 1;
    ChainOf(pNode)->pTail = pNode;
    return *ppHead = pNode;
}

// A list with a chain ends at its pTail, unless somebody linked more to it by hand.
void Link(tagListEntry* pHead, tagListEntry* pNode) {
    tagChain* pChain = ChainOf(pHead);
    tagListEntry* pTail = pChain ? pChain->pTail : pHead;
    while (pTail->pNext)
        pTail = pTail->pNext;
    pTail->pNext = pNode;
    if (!pChain) return;
    pChain->pTail = pNode;
    DropListIndex(*pChain);
}

}  // namespace
