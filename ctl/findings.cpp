#include "ctl/findings.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <span>

#include "category/category_engine.h"
#include "category/category_lookup.h"
#include "category/category_server_protocol.h"
#include "category/category_status.h"
#include "category/category_table.h"
#include "common/product_paths.h"
#include "ctl/imported_lists.h"
#include "ctl/output.h"
#include "policy/policy_switches.h"
#include "policy/url_scanner.h"

namespace {

bool IsThreatCategory(uint32_t nCategory);
uint8_t RealId(uint32_t nCategory);
bool AsksForCategories();
bool WasAnswered(const tagWebRequest& request);
std::vector<uint32_t> AnsweredIds(const tagWebRequest& request);
size_t CountBlocked(uint32_t nCategory);
const char* SwitchBehind(uint32_t nCategory);
std::string EngineProblem();

}  // namespace

tagThreatFinding FindThreat(const tagWebRequest& request) {
    tagThreatFinding finding{};
    finding.bByScanner = !IsThreatCategory(request.nCategory);
    finding.bHarmful = request.nResult == RESULT_HARMFUL || request.nCategory == CATEGORY_HARMFUL;
    finding.threat = request.szThreatName;
    if (finding.bByScanner && request.nResult != RESULT_HARMFUL && request.nResult != RESULT_FRAUDULENT) {
        // What lifted the finding has taken its place.
        const auto pCopy = std::make_unique<tagWebRequest>(request);
        pCopy->nResult = RESULT_NONE;
        finding.bHarmful = ScanURL(pCopy.get()) == 0 && pCopy->nResult == RESULT_HARMFUL;
    }
    const auto listed = FindListedThreat(finding.bHarmful ? ImportedList::Harmful : ImportedList::Phishing,
                                         finding.bByScanner ? request.szCheckURL : request.szURL);
    finding.bListed = listed.has_value();
    if (finding.threat.empty() && listed) finding.threat = *listed;
    return finding;
}

std::string DescribeThreat(const tagThreatFinding& finding) {
    const char* szKind = finding.bHarmful ? "harmful" : "phishing";
    return std::string(szKind) + " site" + (finding.threat.empty() ? "" : " " + Quoted(finding.threat)) +
           (finding.bListed ? std::string(", in the imported ") + szKind + " list"
                            : ", which is not in the imported lists");
}

std::vector<tagFoundCategory> FindRequestCategories(const tagWebRequest& request,
                                                    std::vector<std::string>& notes) {
    std::vector<tagFoundCategory> categories;
    if (!WasAnswered(request)) {
        notes.push_back(EngineProblem());
        return categories;
    }
    for (const uint32_t nCategory : AnsweredIds(request)) {
        const bool bApplies = IsThreatCategory(nCategory) || g_bWebCategoryFilter == 1;
        const size_t nBlocked = bApplies ? CountBlocked(nCategory) : 0;
        categories.push_back({CategoryLabel(nCategory), nBlocked != 0, RealId(nCategory)});
        const char* szSwitch = SwitchBehind(nCategory);
        if (szSwitch && nBlocked == 1) {
            notes.push_back("with the category server the protection '" + std::string(szSwitch) +
                            "' blocks the category " + CategoryLabel(nCategory) + ", too");
        }
    }
    return categories;
}

void NoteMissingProtections(std::vector<std::string>& notes) {
    const struct {
        const char* szName;
        uint8_t bOn;
    } switches[] = {{"browsing", g_bBrowsingProtection},
                    {"phishing", g_bPhishingProtection},
                    {"category", g_bWebCategoryFilter},
                    {"blocklist", g_bCustomBlockList}};
    for (const auto& s : switches) {
        if (s.bOn != 1) notes.push_back(std::string("the protection '") + s.szName + "' is off");
    }
    if ((g_bPhishingProtection == 1 || g_bBrowsingProtection == 1) && g_bURLScannerLoaded != 1) {
        notes.push_back("the URL scanner " + std::string(URL_SCANNER_FILE) +
                        " cannot be loaded and finds nothing");
    }
    for (const auto& list : ReadImportedLists()) {
        if (!list.problem.empty()) notes.push_back(Printable(list.path) + " " + list.problem);
    }
}

std::string CategoryLabel(uint32_t nCategory) {
    if (IsThreatCategory(nCategory)) {
        return nCategory == CATEGORY_HARMFUL ? "harmful site" : "phishing site";
    }
    const uint8_t nReal = RealId(nCategory);
    if (nReal == NO_CATEGORY) return "category " + std::to_string(nCategory);
    const tagCategory& category = CATEGORY_TABLE[nReal];
    return std::string(category.szName) + " (" + std::to_string(category.nId) + ")";
}

namespace {

// The category server knows no such categories: there the numbers are those of others.
bool IsThreatCategory(uint32_t nCategory) {
    return UsesEngineLibrary() && (nCategory == CATEGORY_HARMFUL || nCategory == CATEGORY_PHISHING);
}

uint8_t RealId(uint32_t nCategory) {
    const uint32_t nBase = UsesEngineLibrary() ? LIBRARY_ID_BASE : 0;
    const bool bInTable = nCategory >= nBase && nCategory - nBase < CATEGORY_COUNT;
    return bInTable ? static_cast<uint8_t>(nCategory - nBase) : NO_CATEGORY;
}

bool AsksForCategories() {
    return g_bBrowsingProtection != 0 || g_bPhishingProtection != 0 || g_bWebCategoryFilter != 0;
}

// The record does not tell a look-up that failed from one that found nothing blocked: it is made again, but
// for a server that left nothing at all, which may have taken its time already.
bool WasAnswered(const tagWebRequest& request) {
    if (request.nResult != RESULT_NONE || !AsksForCategories()) return true;
    if (!UsesEngineLibrary() && request.szCategories[0] == '\0') return false;
    const auto pCopy = std::make_unique<tagWebRequest>(request);
    return LookupURLCategories(pCopy.get()) == 0;
}

std::vector<uint32_t> AnsweredIds(const tagWebRequest& request) {
    if (UsesEngineLibrary()) {
        const size_t nCount = std::min<size_t>(request.nCategoryCount, std::size(request.nCategoryIds));
        return {request.nCategoryIds, request.nCategoryIds + nCount};
    }
    if (request.szCategories[0] == '\0') return {};
    return {static_cast<uint32_t>(std::strtoul(request.szCategories, nullptr, 10))};
}

// How often the category stands in the daemon's table: once for the user and once for a protection.
size_t CountBlocked(uint32_t nCategory) {
    const auto blocked = std::span(g_nBlockedCategories).first(g_nBlockedCategoryCount);
    return static_cast<size_t>(std::count(blocked.begin(), blocked.end(), nCategory));
}

const char* SwitchBehind(uint32_t nCategory) {
    if (UsesEngineLibrary()) return nullptr;
    if (nCategory == CATEGORY_HARMFUL && g_bBrowsingProtection == 1) return "browsing";
    return nCategory == CATEGORY_PHISHING && g_bPhishingProtection == 1 ? "phishing" : nullptr;
}

std::string EngineProblem() {
    if (!UsesEngineLibrary()) {
        return "the category server at " + std::string(CATSERVER_HOST) + ":" +
               std::to_string(CATSERVER_PORT) + " gives no answer; no category is blocked";
    }
    if (g_bCTFunctionalityMode == 1) return "the category engine gives no answer; no category is blocked";
    uint8_t nStatus = CATEGORY_STATUS_ON;
    (void)ReadCategoryStatus(&nStatus);
    return nStatus == CATEGORY_STATUS_ON ? "the category engine does not start; no category is blocked"
                                         : "the category engine is kept off by " +
                                               std::string(CATEGORY_STATUS_FILE) + "; no category is blocked";
}

}  // namespace
