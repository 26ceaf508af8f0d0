#include "policy/list_entry.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "common/copy_text.h"
#include "inspect/url_helpers.h"
#include "policy/list_index.h"

namespace {

// Each list, and how its entries match.
struct tagPolicyList {
    tagListEntry** ppHead;
    uint8_t nRules;
};

constexpr std::array<tagPolicyList, 7> POLICY_LISTS = {{
    {&g_pAllowHostList, RULES_HOST},
    {&g_pBlockHostList, RULES_HOST},
    {&g_pAllowURLList, RULES_URL},
    {&g_pBlockURLList, RULES_URL},
    {&g_pAllowAddrList, RULES_ADDR},
    {&g_pBlockAddrList, RULES_ADDR},
    {&g_pTrustedSiteList, RULES_URL},
}};

// Where the entries of one kind go. Null: entries of that type stay out of such a list.
struct tagKindLists {
    tagListEntry** ppHosts;
    tagListEntry** ppURLs;
    tagListEntry** ppAddrs;
};

constexpr std::array<tagKindLists, 3> LISTS_OF_KIND = {{
    {&g_pBlockHostList, &g_pBlockURLList, &g_pBlockAddrList},  // LIST_BLOCK
    {&g_pAllowHostList, &g_pAllowURLList, &g_pAllowAddrList},  // LIST_ALLOW
    {&g_pTrustedSiteList, &g_pTrustedSiteList, nullptr},       // LIST_TRUSTED
}};

void SplitScheme(tagListEntryBuf& entry);
void CoverSubdomains(tagListEntryBuf& entry);
uint8_t TypeOfEntry(const char* szEntry);
int AppendText(tagListEntry** ppHead, const char* szText);
tagListEntry* NewHead();
tagListEntry* TailOf(tagListEntry* pHead);

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
    if (std::strlen(entry.szSource) < 2) return 2;
    (void)ParseListEntry(entry);

    const tagKindLists& lists = LISTS_OF_KIND[entry.nListKind];
    if (entry.nEntryType == ENTRY_HOST) {
        (void)AppendText(lists.ppHosts, entry.szEntry);
        return 0;
    }
    (void)AppendText(lists.ppURLs, entry.szEntry);
    if (entry.nEntryType == ENTRY_ADDRESS && lists.ppAddrs) (void)AppendText(lists.ppAddrs, entry.szEntry);
    return 0;
}

tagListEntry* AppendListEntry(tagListEntry** ppHead) {
    if (!ppHead) return nullptr;
    if (!*ppHead) return *ppHead = NewHead();
    auto* pNode = static_cast<tagListEntry*>(std::calloc(1, sizeof(tagListEntry)));
    if (!pNode) return nullptr;
    TailOf(*ppHead)->pNext = pNode;
    if (tagChain* pChain = ChainOf(*ppHead)) {
        pChain->pTail = pNode;
        DropListIndex(*pChain);
    }
    return pNode;
}

void FreeList(tagListEntry** ppHead) {
    if (!ppHead) return;
    tagListEntry* pNode = *ppHead;
    *ppHead = nullptr;
    if (tagChain* pChain = ChainOf(pNode)) DropListIndex(*pChain);
    while (pNode) {
        tagListEntry* pNext = pNode->pNext;
        std::free(pNode);
        pNode = pNext;
    }
}

void FreePolicyLists() {
    for (const tagPolicyList& list : POLICY_LISTS)
        FreeList(list.ppHead);
}

void IndexPolicyLists() {
    for (const tagPolicyList& list : POLICY_LISTS)
        IndexList(*list.ppHead, list.nRules);
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

// 0, or -1 when memory ran out: a list with a hole would judge requests by half of what was configured, so it
// is emptied.
int AppendText(tagListEntry** ppHead, const char* szText) {
    tagListEntry* pNode = AppendListEntry(ppHead);
    if (!pNode) {
        FreeList(ppHead);
        return -1;
    }
    CopyText(pNode->szEntry, szText);
    return 0;
}

tagListEntry* NewHead() {
    struct tagHead {
        tagListEntry entry;
        tagChain chain;
    };
    auto* pHead = static_cast<tagHead*>(std::calloc(1, sizeof(tagHead)));
    if (!pHead) return nullptr;
    pHead->chain = {&pHead->entry, &pHead->entry, nullptr};
    pHead->entry.pChain = &pHead->chain;
    return &pHead->entry;
}

tagListEntry* TailOf(tagListEntry* pHead) {
    tagListEntry* pTail = ChainOf(pHead) ? pHead->pChain->pTail : pHead;
    while (pTail->pNext) {
        pTail = pTail->pNext;
    }
    return pTail;
}

}  // namespace
