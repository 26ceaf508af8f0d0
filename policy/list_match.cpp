#include "policy/list_match.h"

#include <string_view>

#include "common/ascii.h"
#include "policy/addr_match.h"
#include "policy/list_index.h"

namespace {

// Where one side of the user's lists is found and how a finding is named. The heads are looked up only after
// the address match, which may replace all lists.
struct tagListSide {
    uint8_t bAllow;
    tagListEntry* const* ppHosts;
    tagListEntry* const* ppURLs;
    uint32_t nHostResult;
    uint32_t nURLResult;
};

constexpr tagListSide BLOCK_SIDE = {0, &g_pBlockHostList, &g_pBlockURLList, RESULT_BLOCK_HOST,
                                    RESULT_BLOCK_URL};
constexpr tagListSide ALLOW_SIDE = {1, &g_pAllowHostList, &g_pAllowURLList, RESULT_ALLOW_HOST,
                                    RESULT_ALLOW_URL};

int CheckSide(tagWebRequest& request, const tagListSide& side);
bool EntryMatchesURL(std::string_view entry, std::string_view url);
bool BeginsWithWww(std::string_view text);
bool HasTail(std::string_view text, std::string_view tail);
bool EntryCoversHost(std::string_view entry, std::string_view host);
bool DomainCoversHost(std::string_view entry, std::string_view host);
bool NameCoversHost(std::string_view entry, std::string_view host);

}  // namespace

int CheckBlockLists(tagWebRequest* pRequest) {
    if (g_bCustomBlockList == 0) return 6;
    return CheckSide(*pRequest, BLOCK_SIDE);
}

int CheckAllowLists(tagWebRequest* pRequest) {
    return CheckSide(*pRequest, ALLOW_SIDE);
}

int CheckTrustedSites(tagWebRequest* pRequest) {
    uint8_t bFound = 0;
    (void)MatchURLList(pRequest->szCheckURL, g_pTrustedSiteList, &bFound);
    if (bFound) pRequest->nResult = RESULT_EXCLUDED;
    return 0;
}

int MatchURLList(const char* szURL, const tagListEntry* pList, uint8_t* pFound) {
    if (!szURL || !pFound) return 2;
    *pFound = FirstURLEntry(szURL, pList) ? 1 : 0;
    return 0;
}

int MatchHostList(const char* szHost, const tagListEntry* pList, uint8_t* pFound) {
    if (!szHost) return 2;
    *pFound = FirstHostEntry(szHost, pList) ? 1 : 0;
    return 0;
}

const tagListEntry* FirstURLEntry(std::string_view url, const tagListEntry* pList) {
    if (const tagListIndex* pIndex = IndexOf(pList, RULES_URL)) return FindURL(*pIndex, url);
    while (pList && !EntryMatchesURL(pList->szEntry, url))
        pList = pList->pNext;
    return pList;
}

const tagListEntry* FirstHostEntry(std::string_view host, const tagListEntry* pList) {
    if (const tagListIndex* pIndex = IndexOf(pList, RULES_HOST)) return FindHost(*pIndex, host);
    while (pList && !EntryCoversHost(pList->szEntry, host))
        pList = pList->pNext;
    return pList;
}

int CompareTail(const char* szText, const char* szEntry) {
    const std::string_view text(szText);
    const std::string_view entry(szEntry);
    if (!HasTail(text, entry)) return -1;
    return text.size() == entry.size() ? 0 : 1;
}

namespace {

int CheckSide(tagWebRequest& request, const tagListSide& side) {
    if (request.bIsIPHost == 1) {
        request.bAllowListPass = side.bAllow;
        (void)MatchAddrList(&request);
        if (request.nResult == side.nHostResult) return 0;
    }
    uint8_t bFound = 0;
    (void)MatchHostList(request.szHost, *side.ppHosts, &bFound);
    if (bFound) {
        request.nResult = side.nHostResult;
        return 0;
    }
    (void)MatchURLList(request.szCheckURL, *side.ppURLs, &bFound);
    if (bFound) request.nResult = side.nURLResult;
    return 0;
}

bool EntryMatchesURL(std::string_view entry, std::string_view url) {
    if (entry == url) return true;
    if (url.size() <= 3 || BeginsWithWww(url)) return false;
    return entry.size() > 4 && BeginsWithWww(entry) && entry[3] == '.' && entry.substr(4) == url;
}

bool BeginsWithWww(std::string_view text) {
    return EqualNoCase(text.substr(0, 3), "www");
}

bool HasTail(std::string_view text, std::string_view tail) {
    return !tail.empty() && text.ends_with(tail);
}

bool EntryCoversHost(std::string_view entry, std::string_view host) {
    return entry.starts_with('.') ? DomainCoversHost(entry, host) : NameCoversHost(entry, host);
}

// The entry begins with ".".
bool DomainCoversHost(std::string_view entry, std::string_view host) {
    constexpr std::string_view DOTTED_WWW = ".www.";
    if (HasTail(host, entry) || HasTail(host, entry.substr(1))) return true;
    return entry.starts_with(DOTTED_WWW) && HasTail(host, entry.substr(DOTTED_WWW.size()));
}

bool NameCoversHost(std::string_view entry, std::string_view host) {
    constexpr std::string_view WWW = "www.";
    if (EqualNoCase(entry, host)) return true;
    if (entry.starts_with(WWW)) return EqualNoCase(entry.substr(WWW.size()), host);
    return EqualNoCase(host.substr(0, WWW.size()), WWW) && EqualNoCase(host.substr(WWW.size()), entry);
}

}  // namespace
