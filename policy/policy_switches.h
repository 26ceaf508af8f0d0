// What of the policy in force the categories and the reports look at: the protection switches and the blocked
// categories. Leaf header; defined and written by policy/ alone (policy/policy_state.h says when), read by
// the workers without a lock.
#pragma once

#include <cstdint>

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
