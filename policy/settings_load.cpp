#include "policy/settings_load.h"

#include <malloc.h>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <iterator>

#include "common/copy_text.h"
#include "common/traffic_counters.h"
#include "inspect/web_request.h"
#include "policy/client_settings.h"
#include "policy/list_entry.h"
#include "policy/list_resolve.h"
#include "policy/policy_state.h"
#include "report/report_module.h"

namespace {

int FetchSettings(tagClientSettingData& settings);
void ApplySwitches(const tagClientSettingData& settings);
void ApplyCategories(const tagClientSettingData& settings);
void AppendBlockedCategory(uint32_t nCategory);
void ApplyLists(const tagClientSettingData& settings);
void AddURLs(const tagSequence<tagURLSetting>& urls, uint8_t nListKind);
void AddTrustedSites(const tagSequence<tagTrustedSiteSetting>& sites);
void DeriveAddresses();

}  // namespace

int LoadPolicySettings() {
    tagClientSettingData settings = {};
    if (FetchSettings(settings) != 0) {
        ReleaseSettings(settings);
        return 9;
    }
    FreePolicyLists();
    ApplySwitches(settings);
    ApplyCategories(settings);
    ApplyLists(settings);
    ReleaseSettings(settings);  // two kilobytes for each entry, and the resolver may take long
    DeriveAddresses();
    IndexPolicyLists();
    (void)malloc_trim(0);
    SetTraffic(COUNT_SETTINGS_TIME, static_cast<uint64_t>(std::time(nullptr)));
    return 0;
}

namespace {

int FetchSettings(tagClientSettingData& settings) {
    if (g_bReportModuleLoaded == 0) return 1;
    uint32_t nReserved = 0;
    return g_pfnGetClientAllSettingData(&settings, &nReserved) != 0 ? 0 : 1;
}

void ApplySwitches(const tagClientSettingData& settings) {
    g_bBrowsingProtection = static_cast<uint8_t>(settings.nBrowsingProtection);
    g_bPhishingProtection = static_cast<uint8_t>(settings.nPhishingProtection);
    g_bWebCategoryFilter = static_cast<uint8_t>(settings.nWebCategoryFilter);
    g_bCustomBlockList = static_cast<uint8_t>(settings.nCustomBlockList);
    g_bReportBlocked = static_cast<uint8_t>(settings.nReportBlocked);
}

// The two fixed categories come first, so that a full table drops only what the user added.
void ApplyCategories(const tagClientSettingData& settings) {
    std::fill(std::begin(g_nBlockedCategories), std::end(g_nBlockedCategories), uint16_t{0});
    g_nBlockedCategoryCount = 0;
    if (g_bBrowsingProtection == 1) AppendBlockedCategory(CATEGORY_HARMFUL);
    if (g_bPhishingProtection == 1) AppendBlockedCategory(CATEGORY_PHISHING);
    if (g_bWebCategoryFilter != 1) return;
    for (const tagCategorySetting& category : Elements(settings.vecCategories)) {
        if (category.bBlocked == 1) AppendBlockedCategory(category.nCategory);
    }
}

void AppendBlockedCategory(uint32_t nCategory) {
    if (g_nBlockedCategoryCount >= MAX_BLOCKED_CATEGORIES) return;
    g_nBlockedCategories[g_nBlockedCategoryCount++] = static_cast<uint16_t>(nCategory);
}

void ApplyLists(const tagClientSettingData& settings) {
    if (g_bCustomBlockList == 1) AddURLs(settings.vecBlockList, LIST_BLOCK);
    if (g_bWebCategoryFilter == 1) AddURLs(settings.vecAllowList, LIST_ALLOW);
    if (g_bBrowsingProtection == 1 || g_bPhishingProtection == 1) AddTrustedSites(settings.vecTrustedSites);
}

void AddURLs(const tagSequence<tagURLSetting>& urls, uint8_t nListKind) {
    for (const tagURLSetting& url : Elements(urls)) {
        tagListEntryBuf entry = {};
        NarrowText(entry.szSource, url.wszText, std::size(url.wszText));
        entry.bSubdomains = static_cast<uint8_t>(url.bSubdomains);
        entry.nListKind = nListKind;
        (void)AddListEntry(entry);
    }
}

void AddTrustedSites(const tagSequence<tagTrustedSiteSetting>& sites) {
    for (const tagTrustedSiteSetting& site : Elements(sites)) {
        tagListEntryBuf entry = {};
        NarrowText(entry.szSource, site.wszText, std::size(site.wszText));
        entry.nListKind = LIST_TRUSTED;
        (void)AddListEntry(entry);
    }
}

// Names that cannot be resolved only leave their addresses out.
void DeriveAddresses() {
    (void)ResolveHostList(g_pBlockHostList, &g_pBlockAddrList);
    (void)ResolveHostList(g_pAllowHostList, &g_pAllowAddrList);
    (void)ResolveURLList(g_pBlockURLList, &g_pBlockAddrList);
    (void)ResolveURLList(g_pAllowURLList, &g_pAllowAddrList);
}

}  // namespace
