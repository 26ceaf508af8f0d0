// The seven policy lists as they grow: one configured entry is brought into its normal form, its type decides
// which lists take it. Lists are chains in the order of the entries (policy/policy_state.h).
//
// Lists in force change only while no worker is in the decision flow; these operations take no lock of their
// own.
#pragma once

#include <cstdint>
#include <string_view>

#include "policy/client_settings.h"
#include "policy/policy_state.h"

// nEntryType
enum : uint8_t { ENTRY_HOST = 1, ENTRY_ADDRESS = 2, ENTRY_URL = 3 };

// One entry at work. Zeroed by the caller, who sets szSource, bSubdomains and nListKind.
struct tagListEntryBuf {
    char szSource[256];    // the entry as configured; parsing cuts its port off
    char szHostPart[256];  // what follows the scheme, port removed
    char szEntry[256];     // the normal form that goes into the lists
    uint8_t bSubdomains;   // 1: the domain and all its sub-domains
    uint8_t nListKind;     // LIST_*
    uint8_t nEntryType;    // ENTRY_*, set by the parser
};

// The seven lists while they are made; policy/policy_state.h has those in force.
struct tagPolicyLists {
    tagListEntry* pAllowHosts;
    tagListEntry* pBlockHosts;
    tagListEntry* pAllowURLs;
    tagListEntry* pBlockURLs;
    tagListEntry* pAllowAddrs;
    tagListEntry* pBlockAddrs;
    tagListEntry* pTrustedSites;
};

// Fills szHostPart, szEntry and nEntryType: scheme ("http://", "https://", "ftp://", case-sensitive), port
// and trailing separators go. A port takes the path behind it along, but for "ftp://". Returns 0.
int ParseListEntry(tagListEntryBuf& entry);

// Parses the entry and appends it to the lists of its kind and type: a host name to the host list, a URL to
// the URL list, an address to the URL list and the address list; whatever is trusted to the trusted sites
// alone. A list that cannot be extended for want of memory is emptied. Returns 0, memory or not, and 2 when
// szSource is shorter than two characters (nothing added). The one without lists adds to those in force.
int AddListEntry(tagListEntryBuf& entry);
int AddListEntryTo(tagPolicyLists& lists, tagListEntryBuf& entry);

// Links a zeroed node at the tail and returns it; it belongs to the list. Null when ppHead is null or memory
// runs out. Costs the same at any length, but for a list whose first node was put together by hand.
tagListEntry* AppendListEntry(tagListEntry** ppHead);

// The same with a text, cut to what a node holds; the node takes no more memory than that needs. 0, or -1
// when memory ran out: a list with a hole would judge requests by half of what was configured, so it is
// emptied.
int AppendListText(tagListEntry** ppHead, std::string_view text);

// Frees every node and leaves the empty list. Safe on an empty list and on null.
void FreeList(tagListEntry** ppHead);

// Exchanges the lists with those in force.
void SwapPolicyLists(tagPolicyLists& lists);

// Empties all seven; the one without lists those in force.
void FreePolicyLists();
void FreePolicyLists(tagPolicyLists& lists);

// Makes the index of each of them (policy/list_index.h).
void IndexPolicyLists(const tagPolicyLists& lists);
