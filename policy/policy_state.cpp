#include "policy/policy_state.h"

uint8_t g_bBrowsingProtection = 0;
uint8_t g_bPhishingProtection = 0;
uint8_t g_bWebCategoryFilter = 0;
uint8_t g_bCustomBlockList = 0;
uint8_t g_bReportBlocked = 0;

uint16_t g_nBlockedCategories[MAX_BLOCKED_CATEGORIES] = {};
uint16_t g_nBlockedCategoryCount = 0;

tagListEntry* g_pAllowHostList = nullptr;
tagListEntry* g_pBlockHostList = nullptr;
tagListEntry* g_pAllowURLList = nullptr;
tagListEntry* g_pBlockURLList = nullptr;
tagListEntry* g_pAllowAddrList = nullptr;
tagListEntry* g_pBlockAddrList = nullptr;
tagListEntry* g_pTrustedSiteList = nullptr;

tagPatternTable g_ExclusionPatterns = {0, nullptr};
tagAddrRangeTable g_ExcludedRanges = {0, nullptr};
tagPatternTable g_TrustedURLPatterns = {0, nullptr};

uint8_t g_bFirstFTPAddrMatch = 1;
