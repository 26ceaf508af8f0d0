#include "policy/list_match.h"

#include <string_view>

#include "common/ascii.h"
#include "policy/addr_match.h"

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
bool DomainCoversHost(const char* szEntry, const char* szHost);
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
    const std::string_view url(szURL);
    *pFound = 0;
    for (; pList && !*pFound; pList = pList->pNext) {
        if (EntryMatchesURL(pList->szEntry, url)) *pFound = 1;
    }
    return 0;
}

int MatchHostList(const char* szHost, const tagListEntry* pList, uint8_t* pFound) {
    if (!szHost) return 2;
    *pFound = 0;
    for (; pList && !*pFound; pList = pList->pNext) {
        const bool bMatches = pList->szEntry[0] == '.' ? DomainCoversHost(pList->szEntry, szHost)
                                                       : NameCoversHost(pList->szEntry, szHost);
        if (bMatches) *pFound = 1;
    }
    return 0;
}

int CompareTail(const char* szText, const char* szEntry) {
    const std::string_view text(szText);
    const std::string_view entry(szEntry);
    if (entry.empty() || !text.ends_with(entry)) return -1;
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

// szEntry begins with ".".
bool DomainCoversHost(const char* szEntry, const char* szHost) {
    constexpr std::string_view DOTTED_WWW = ".www.";
    if (CompareTail(szHost, szEntry) >= 0 || CompareTail(szHost, szEntry + 1) >= 0) return true;
    return std::string_view(szEntry).starts_with(DOTTED_WWW) &&
           CompareTail(szHost, szEntry + DOTTED_WWW.size()) >= 0;
}

bool NameCoversHost(std::string_view entry, std::string_view host) {
    constexpr std::string_view WWW = "www.";
    if (EqualNoCase(entry, host)) return true;
    if (entry.starts_with(WWW)) return EqualNoCase(entry.substr(WWW.size()), host);
    return EqualNoCase(host.substr(0, WWW.size()), WWW) && EqualNoCase(host.substr(WWW.size()), entry);
}

}  // namespace
