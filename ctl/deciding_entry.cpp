#include <arpa/inet.h>

#include <memory>
#include <utility>

#include "common/copy_text.h"
#include "ctl/data_file_kind.h"
#include "ctl/data_file_text.h"
#include "ctl/explanation.h"
#include "inspect/excluded_range.h"
#include "intercept/packet_info.h"
#include "policy/addr_match.h"
#include "policy/list_match.h"
#include "policy/pattern_match.h"
#include "policy/policy_state.h"

namespace {

// Puts something else in a global's place for as long as it lives: a check that reads its list from there is
// so shown a single entry.
template <class T>
class Substitute {
  public:
    Substitute(T& global, const T& other) : m_global(global), m_saved(std::exchange(global, other)) {}
    ~Substitute() { m_global = m_saved; }
    Substitute(const Substitute&) = delete;
    Substitute& operator=(const Substitute&) = delete;

  private:
    T& m_global;
    T m_saved;
};

using MatchFn = int (*)(const char* szText, const tagListEntry* pList, uint8_t* pFound);
using CheckFn = int (*)(tagWebRequest* pRequest);

// The lists of one side.
struct tagSide {
    const char* szName;
    tagListEntry** ppAddrs;
    tagListEntry* pHosts;
    tagListEntry* pURLs;
};

void FindSideEntry(const tagWebRequest& request, const tagSide& side, bool bURL, tagExplanation& explanation);
std::string FindListEntry(const char* szText, const tagListEntry* pList, MatchFn Match);
std::string FindAddrEntry(const tagWebRequest& request, tagListEntry*& pHead);
std::string FindPattern(const tagWebRequest& request, tagPatternTable& table, CheckFn Check);
void ExplainExclusion(const tagWebRequest& request, tagExplanation& explanation);
void ExplainThreat(const tagWebRequest& request, tagExplanation& explanation);
void ExplainCategory(const tagWebRequest& request, tagExplanation& explanation);

}  // namespace

void FindDecidingEntry(const tagWebRequest& request, tagExplanation& explanation) {
    const tagSide block = {"block list", &g_pBlockAddrList, g_pBlockHostList, g_pBlockURLList};
    const tagSide allow = {"allow list", &g_pAllowAddrList, g_pAllowHostList, g_pAllowURLList};
    switch (request.nResult) {
        case RESULT_ALLOW_HOST:
        case RESULT_ALLOW_URL:
            FindSideEntry(request, allow, request.nResult == RESULT_ALLOW_URL, explanation);
            explanation.check += ", which lifts a blocked category";
            return;
        case RESULT_BLOCK_HOST:
        case RESULT_BLOCK_URL:
            return FindSideEntry(request, block, request.nResult == RESULT_BLOCK_URL, explanation);
        case RESULT_EXCLUDED:
            return ExplainExclusion(request, explanation);
        case RESULT_SCAN_TRUSTED:
            explanation.check = "trusted pattern, which lifts a finding";
            explanation.list = "trusted patterns";
            explanation.entry = FindPattern(request, g_TrustedURLPatterns, CheckTrustedURLs);
            explanation.threat = FindThreat(request);
            return;
        case RESULT_FRAUDULENT:
        case RESULT_HARMFUL:
            return ExplainThreat(request, explanation);
        case RESULT_CATEGORY:
            return ExplainCategory(request, explanation);
        default:
            explanation.check = "no check found anything";
    }
}

std::string FindExcludedRange(uint32_t nAddress) {
    tagPacketInfo packet{};
    packet.nDstAddr = nAddress;
    for (uint32_t i = 0; i < g_ExcludedRanges.nCount; ++i) {
        const tagAddrRange range = g_ExcludedRanges.pRanges[i];
        const Substitute one(g_ExcludedRanges, {1, g_ExcludedRanges.pRanges + i});
        if (IsDestinationExcluded(&packet) != 0) continue;
        const auto* pBytes = reinterpret_cast<const uint8_t*>(&range);
        return FormatRecords(FindDataFileKind("ranges"), Records(pBytes, pBytes + sizeof range))[0];
    }
    return {};
}

namespace {

void FindSideEntry(const tagWebRequest& request, const tagSide& side, bool bURL,
                   tagExplanation& explanation) {
    explanation.list = side.szName;
    if (bURL) {
        explanation.check = side.szName + std::string(", URL");
        explanation.entry = FindListEntry(request.szCheckURL, side.pURLs, MatchURLList);
        return;
    }
    if (request.bIsIPHost == 1) explanation.entry = FindAddrEntry(request, *side.ppAddrs);
    explanation.check = side.szName + std::string(explanation.entry.empty() ? ", host" : ", address");
    if (explanation.entry.empty())
        explanation.entry = FindListEntry(request.szHost, side.pHosts, MatchHostList);
}

std::string FindListEntry(const char* szText, const tagListEntry* pList, MatchFn Match) {
    for (; pList; pList = pList->pNext) {
        tagListEntry one = {};
        (void)CopyText(one.szEntry, pList->szEntry);
        uint8_t bFound = 0;
        (void)Match(szText, &one, &bFound);
        if (bFound) return one.szEntry;
    }
    return {};
}

// bAllowListPass still tells the side that was tested last.
std::string FindAddrEntry(const tagWebRequest& request, tagListEntry*& pHead) {
    const auto pCopy = std::make_unique<tagWebRequest>(request);
    for (const tagListEntry* p = pHead; p; p = p->pNext) {
        tagListEntry one = {};
        (void)CopyText(one.szEntry, p->szEntry);
        const Substitute only(pHead, &one);
        pCopy->nResult = RESULT_NONE;
        (void)MatchAddrList(pCopy.get());
        if (pCopy->nResult != RESULT_NONE) return one.szEntry;
    }
    return {};
}

std::string FindPattern(const tagWebRequest& request, tagPatternTable& table, CheckFn Check) {
    const auto pCopy = std::make_unique<tagWebRequest>(request);
    for (uint32_t i = 0; i < table.nCount; ++i) {
        const Substitute one(table, {1, table.pPatterns + i});
        pCopy->nResult = RESULT_NONE;
        if (Check(pCopy.get()) == 0 && pCopy->nResult != RESULT_NONE) return table.pPatterns[0];
    }
    return {};
}

// Two checks give this result; the exclusion patterns come first.
void ExplainExclusion(const tagWebRequest& request, tagExplanation& explanation) {
    const auto pCopy = std::make_unique<tagWebRequest>(request);
    pCopy->nResult = RESULT_NONE;
    if (CheckExclusionList(pCopy.get()) == 0 && pCopy->nResult == RESULT_EXCLUDED) {
        explanation.check = "exclusion pattern";
        explanation.list = "exclusion patterns";
        explanation.entry = FindPattern(request, g_ExclusionPatterns, CheckExclusionList);
        return;
    }
    explanation.check = "trusted site, which lifts a finding";
    explanation.list = "trust list";
    explanation.entry = FindListEntry(request.szCheckURL, g_pTrustedSiteList, MatchURLList);
    explanation.threat = FindThreat(request);
}

void ExplainThreat(const tagWebRequest& request, tagExplanation& explanation) {
    explanation.threat = FindThreat(request);
    explanation.check = std::string(explanation.threat->bByScanner ? "URL scanner: " : "category engine: ") +
                        (explanation.threat->bHarmful ? "harmful site" : "phishing site");
}

void ExplainCategory(const tagWebRequest& request, tagExplanation& explanation) {
    explanation.check =
        explanation.bBlocked ? "blocked category" : "blocked category, but its protection is off";
    explanation.entry = CategoryLabel(request.nCategory);
}

}  // namespace
