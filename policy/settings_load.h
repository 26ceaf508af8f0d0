// The policy in force is made here: everything that policy/policy_state.h holds, but for the built-in tables,
// comes from one fetch from the settings store.
#pragma once

#include <cstdint>

#include "policy/list_entry.h"
#include "policy/policy_switches.h"

// A policy that is not in force. A zeroed one is empty.
struct tagPolicy {
    uint8_t bMade;  // 1: what follows is a whole policy
    uint8_t bBrowsingProtection;
    uint8_t bPhishingProtection;
    uint8_t bWebCategoryFilter;
    uint8_t bCustomBlockList;
    uint8_t bReportBlocked;
    uint16_t nBlockedCategories[MAX_BLOCKED_CATEGORIES];
    uint16_t nBlockedCategoryCount;
    tagPolicyLists lists;
    uint64_t nFetch;  // grows with each fetch that begins
};

// Fetches the settings through the report module and rebuilds switches, blocked categories and the seven
// lists, derived addresses included, from scratch. Returns 0, or 9 when the report module is not loaded or
// the fetch fails; the previous policy then stays in force.
//
// Takes as long as the module and the resolver need. The caller sees to it that no worker is in the decision
// flow and that the calling thread cannot be cancelled meanwhile.
int LoadPolicySettings();

// The same in two steps, so that the workers need to be kept out of the second alone, which takes no time.
// The first may run on several threads at once. Of two policies the one that was fetched later counts: what
// is put in force after it is not put in force any more.
//
// MakePolicy fills an empty record (0, or 9 as above). PutPolicyInForce leaves in the record what was in
// force before. FreePolicy frees that, or a policy that never was in force, and leaves the record empty.
int MakePolicy(tagPolicy& policy);
void PutPolicyInForce(tagPolicy& policy);
void FreePolicy(tagPolicy& policy);
