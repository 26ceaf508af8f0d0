// The policy in force: protection switches, blocked categories, the seven lists and the built-in tables.
//
// Only policy/ writes here: at start-up, at shutdown, inside the SIGHUP and SIGUSR2 handlers and in the
// settings load of the first FTP address match, each of which keeps all workers out of the decision flow
// meanwhile. The workers read without a lock.
#pragma once

#include <cstdint>

#include "policy/data_file.h"

// One list node. A list is a chain from its head pointer; an empty list is a null head. Nodes belong to the
// list.
struct tagListEntry {
    char szEntry[257];
    tagListEntry* pNext;
};

// Switches, on only when exactly 1; two readers test for non-zero: the block-list check and the report
// writer.
extern uint8_t g_bBrowsingProtection;  // harmful sites
extern uint8_t g_bPhishingProtection;
extern uint8_t g_bWebCategoryFilter;
extern uint8_t g_bCustomBlockList;
extern uint8_t g_bReportBlocked;

constexpr uint16_t MAX_BLOCKED_CATEGORIES = 64;
extern uint16_t g_nBlockedCategories[MAX_BLOCKED_CATEGORIES];  // logical ids
extern uint16_t g_nBlockedCategoryCount;

extern tagListEntry* g_pAllowHostList;  // host names, possibly with a leading "."
extern tagListEntry* g_pBlockHostList;
extern tagListEntry* g_pAllowURLList;  // URLs and addresses
extern tagListEntry* g_pBlockURLList;
extern tagListEntry* g_pAllowAddrList;  // addresses, and addresses followed by a path
extern tagListEntry* g_pBlockAddrList;
extern tagListEntry* g_pTrustedSiteList;  // every trusted entry

extern tagPatternTable g_ExclusionPatterns;
extern tagAddrRangeTable g_ExcludedRanges;
extern tagPatternTable g_TrustedURLPatterns;
