// For tests that set up a policy by hand: afterwards nothing of it is left.
#pragma once

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "common/copy_text.h"
#include "gtest/gtest.h"
#include "policy/list_entry.h"
#include "policy/policy_state.h"

class PolicyTest : public testing::Test {
  protected:
    void TearDown() override {
        FreePolicyLists();
        for (uint8_t* pSwitch : {&g_bBrowsingProtection, &g_bPhishingProtection, &g_bWebCategoryFilter,
                                 &g_bCustomBlockList, &g_bReportBlocked}) {
            *pSwitch = 0;
        }
        std::fill(std::begin(g_nBlockedCategories), std::end(g_nBlockedCategories), uint16_t{0});
        g_nBlockedCategoryCount = 0;
        g_bFirstFTPAddrMatch = 1;
    }
};

inline void FillList(tagListEntry*& pHead, std::initializer_list<std::string_view> texts) {
    for (const std::string_view text : texts) {
        CopyText(AppendListEntry(&pHead)->szEntry, text);
    }
}

inline std::vector<std::string> TextsOf(const tagListEntry* pList) {
    std::vector<std::string> texts;
    for (; pList; pList = pList->pNext) {
        texts.emplace_back(pList->szEntry);
    }
    return texts;
}
