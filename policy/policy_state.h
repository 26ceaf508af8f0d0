// The policy in force: protection switches, blocked categories, the seven lists and the built-in tables.
//
// Only policy/ writes here: at start-up, at shutdown, inside the SIGHUP and SIGUSR2 handlers and in the
// settings load of the first FTP address match, each of which keeps all workers out of the decision flow
// meanwhile. The workers read without a lock.
#pragma once

#include <cstdint>

#include "policy/data_file.h"
#include "policy/policy_switches.h"

struct tagListEntry;
struct tagListIndex;

// What is known of a list as a whole. It stands before the first node, in the same block.
struct tagChain {
    tagListEntry* pTail;
    tagListIndex* pIndex;  // policy/list_index.h; null: the list is walked
};

// One list node. A list is a chain from its head pointer; an empty list is a null head. Nodes belong to the
// list. One that was put together by hand has no tagChain and is walked.
struct tagListEntry {
    tagListEntry() = default;
    tagListEntry(const tagListEntry&) = delete;  // its block may end with its text
    tagListEntry& operator=(const tagListEntry&) = delete;

    tagListEntry* pNext;
    uint8_t bHasChain;
    char szEntry[257];  // written in a node of AppendListEntry alone, as a whole
};

// What is known of the list with this first node, or null.
inline tagChain* ChainOf(const tagListEntry* pList) {
    if (!pList || !pList->bHasChain) return nullptr;
    return reinterpret_cast<tagChain*>(const_cast<tagListEntry*>(pList)) - 1;
}

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

// 1 from process start until an FTP request is first matched against an address list (policy/addr_match.h),
// never set again.
extern uint8_t g_bFirstFTPAddrMatch;
