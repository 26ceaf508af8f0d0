#include "policy/settings_load.h"

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <ctime>
#include <iterator>
#include <utility>

#include "common/copy_text.h"
#include "common/traffic_counters.h"
#include "inspect/web_request.h"
#include "policy/client_settings.h"
#include "policy/list_resolve.h"
#include "policy/policy_state.h"
#include "report/report_module.h"

namespace {

std::atomic<uint64_t> s_nFetches;
uint64_t s_nFetchInForce = 0;  // written while no worker is in the decision flow

// A policy in the making.
struct tagMaking {
    tagClientSettingData settings;
    tagPolicyLists* pLists;
};

int FetchSettings(tagMaking& making);
void MakeSwitches(tagPolicy& policy, const tagClientSettingData& settings);
void MakeCategories(tagPolicy& policy, const tagClientSettingData& settings);
void AppendBlockedCategory(tagPolicy& policy, uint32_t nCategory);
void AddSequences(tagMaking& making);
bool AddSetting(uint8_t nListKind, const char16_t* wszText, uint32_t bSubdomains, void* pMaking);
bool IsListLoaded(const tagClientSettingData& settings, uint8_t nListKind);
bool IsOn(uint32_t nSwitch);
void DeriveAddresses(tagPolicyLists& lists);

}  // namespace

int LoadPolicySettings() {
    tagPolicy policy = {};
    const int nResult = MakePolicy(policy);
    PutPolicyInForce(policy);
    FreePolicy(policy);
    return nResult;
}

int MakePolicy(tagPolicy& policy) {
    policy.nFetch = ++s_nFetches;
    tagMaking making = {{}, &policy.lists};
    const int nFetched = FetchSettings(making);
    if (nFetched == 0) {
        MakeSwitches(policy, making.settings);
        MakeCategories(policy, making.settings);
    }
    ReleaseSettings(making.settings);  // two kilobytes for each entry there, and the resolver may take long
    if (nFetched != 0) return 9;
    DeriveAddresses(policy.lists);
    IndexPolicyLists(policy.lists);
    policy.bMade = 1;
    return 0;
}

void PutPolicyInForce(tagPolicy& policy) {
    if (!policy.bMade || policy.nFetch < s_nFetchInForce) return;
    s_nFetchInForce = policy.nFetch;
    g_bBrowsingProtection = policy.bBrowsingProtection;
    g_bPhishingProtection = policy.bPhishingProtection;
    g_bWebCategoryFilter = policy.bWebCategoryFilter;
    g_bCustomBlockList = policy.bCustomBlockList;
    g_bReportBlocked = policy.bReportBlocked;
    std::copy(std::begin(policy.nBlockedCategories), std::end(policy.nBlockedCategories),
              g_nBlockedCategories);
    g_nBlockedCategoryCount = policy.nBlockedCategoryCount;
    SwapPolicyLists(policy.lists);
    SetTraffic(COUNT_SETTINGS_TIME, static_cast<uint64_t>(std::time(nullptr)));
}

void FreePolicy(tagPolicy& policy) {
    FreePolicyLists(policy.lists);
    policy = {};
    (void)malloc_trim(0);  // what the settings and the former lists took lies between the nodes in use
}

namespace {

int FetchSettings(tagMaking& making) {
    if (g_bReportModuleLoaded == 0) return 1;
    uint32_t nReserved = 0;
    if (g_pfnWalkClientSettingData) {
        return g_pfnWalkClientSettingData(&making.settings, AddSetting, &making, &nReserved) != 0 ? 0 : 1;
    }
    if (g_pfnGetClientAllSettingData(&making.settings, &nReserved) == 0) return 1;
    AddSequences(making);
    return 0;
}

void MakeSwitches(tagPolicy& policy, const tagClientSettingData& settings) {
    policy.bBrowsingProtection = static_cast<uint8_t>(settings.nBrowsingProtection);
    policy.bPhishingProtection = static_cast<uint8_t>(settings.nPhishingProtection);
    policy.bWebCategoryFilter = static_cast<uint8_t>(settings.nWebCategoryFilter);
    policy.bCustomBlockList = static_cast<uint8_t>(settings.nCustomBlockList);
    policy.bReportBlocked = static_cast<uint8_t>(settings.nReportBlocked);
}

// The two fixed categories come first, so that a full table drops only what the user added.
void MakeCategories(tagPolicy& policy, const tagClientSettingData& settings) {
    if (policy.bBrowsingProtection == 1) AppendBlockedCategory(policy, CATEGORY_HARMFUL);
    if (policy.bPhishingProtection == 1) AppendBlockedCategory(policy, CATEGORY_PHISHING);
    if (policy.bWebCategoryFilter != 1) return;
    for (const tagCategorySetting& category : Elements(settings.vecCategories)) {
        if (category.bBlocked == 1) AppendBlockedCategory(policy, category.nCategory);
    }
}

void AppendBlockedCategory(tagPolicy& policy, uint32_t nCategory) {
    if (policy.nBlockedCategoryCount >= MAX_BLOCKED_CATEGORIES) return;
    policy.nBlockedCategories[policy.nBlockedCategoryCount++] = static_cast<uint16_t>(nCategory);
}

void AddSequences(tagMaking& making) {
    for (const tagURLSetting& url : Elements(making.settings.vecBlockList))
        (void)AddSetting(LIST_BLOCK, url.wszText, url.bSubdomains, &making);
    for (const tagURLSetting& url : Elements(making.settings.vecAllowList))
        (void)AddSetting(LIST_ALLOW, url.wszText, url.bSubdomains, &making);
    for (const tagTrustedSiteSetting& site : Elements(making.settings.vecTrustedSites))
        (void)AddSetting(LIST_TRUSTED, site.wszText, 0, &making);
}

bool AddSetting(uint8_t nListKind, const char16_t* wszText, uint32_t bSubdomains, void* pMaking) {
    auto& making = *static_cast<tagMaking*>(pMaking);
    if (!IsListLoaded(making.settings, nListKind)) return true;
    tagListEntryBuf entry = {};
    NarrowText(entry.szSource, wszText, std::size(tagURLSetting{}.wszText));
    entry.bSubdomains = nListKind == LIST_TRUSTED ? uint8_t{0} : static_cast<uint8_t>(bSubdomains);
    entry.nListKind = nListKind;
    (void)AddListEntryTo(*making.pLists, entry);
    return true;
}

bool IsListLoaded(const tagClientSettingData& settings, uint8_t nListKind) {
    if (nListKind == LIST_BLOCK) return IsOn(settings.nCustomBlockList);
    if (nListKind == LIST_ALLOW) return IsOn(settings.nWebCategoryFilter);
    const bool bScanning = IsOn(settings.nBrowsingProtection) || IsOn(settings.nPhishingProtection);
    return nListKind == LIST_TRUSTED && bScanning;
}

bool IsOn(uint32_t nSwitch) {
    return static_cast<uint8_t>(nSwitch) == 1;
}

// Names that cannot be resolved only leave their addresses out.
void DeriveAddresses(tagPolicyLists& lists) {
    (void)ResolveHostList(lists.pBlockHosts, &lists.pBlockAddrs);
    (void)ResolveHostList(lists.pAllowHosts, &lists.pAllowAddrs);
    (void)ResolveURLList(lists.pBlockURLs, &lists.pBlockAddrs);
    (void)ResolveURLList(lists.pAllowURLs, &lists.pAllowAddrs);
}

}  // namespace
