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

int FetchSettings(tagClientSettingData& settings);
void MakeSwitches(tagPolicy& policy, const tagClientSettingData& settings);
void MakeCategories(tagPolicy& policy, const tagClientSettingData& settings);
void AppendBlockedCategory(tagPolicy& policy, uint32_t nCategory);
void MakeLists(tagPolicy& policy, const tagClientSettingData& settings);
void AddURLs(tagPolicy& policy, const tagSequence<tagURLSetting>& urls, uint8_t nListKind);
void AddTrustedSites(tagPolicy& policy, const tagSequence<tagTrustedSiteSetting>& sites);
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
    tagClientSettingData settings = {};
    if (FetchSettings(settings) != 0) {
        ReleaseSettings(settings);
        return 9;
    }
    MakeSwitches(policy, settings);
    MakeCategories(policy, settings);
    MakeLists(policy, settings);
    ReleaseSettings(settings);  // two kilobytes for each entry, and the resolver may take long
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

int FetchSettings(tagClientSettingData& settings) {
    if (g_bReportModuleLoaded == 0) return 1;
    uint32_t nReserved = 0;
    return g_pfnGetClientAllSettingData(&settings, &nReserved) != 0 ? 0 : 1;
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

void MakeLists(tagPolicy& policy, const tagClientSettingData& settings) {
    if (policy.bCustomBlockList == 1) AddURLs(policy, settings.vecBlockList, LIST_BLOCK);
    if (policy.bWebCategoryFilter == 1) AddURLs(policy, settings.vecAllowList, LIST_ALLOW);
    if (policy.bBrowsingProtection == 1 || policy.bPhishingProtection == 1) {
        AddTrustedSites(policy, settings.vecTrustedSites);
    }
}

void AddURLs(tagPolicy& policy, const tagSequence<tagURLSetting>& urls, uint8_t nListKind) {
    for (const tagURLSetting& url : Elements(urls)) {
        tagListEntryBuf entry = {};
        NarrowText(entry.szSource, url.wszText, std::size(url.wszText));
        entry.bSubdomains = static_cast<uint8_t>(url.bSubdomains);
        entry.nListKind = nListKind;
        (void)AddListEntryTo(policy.lists, entry);
    }
}

void AddTrustedSites(tagPolicy& policy, const tagSequence<tagTrustedSiteSetting>& sites) {
    for (const tagTrustedSiteSetting& site : Elements(sites)) {
        tagListEntryBuf entry = {};
        NarrowText(entry.szSource, site.wszText, std::size(site.wszText));
        entry.nListKind = LIST_TRUSTED;
        (void)AddListEntryTo(policy.lists, entry);
    }
}

// Names that cannot be resolved only leave their addresses out.
void DeriveAddresses(tagPolicyLists& lists) {
    (void)ResolveHostList(lists.pBlockHosts, &lists.pBlockAddrs);
    (void)ResolveHostList(lists.pAllowHosts, &lists.pAllowAddrs);
    (void)ResolveURLList(lists.pBlockURLs, &lists.pBlockAddrs);
    (void)ResolveURLList(lists.pAllowURLs, &lists.pAllowAddrs);
}

}  // namespace
