#include "category/category_policy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "category/category_engine.h"
#include "policy/policy_switches.h"
#include "tests/unit/category/catalogue_in_use.h"

namespace {

class BlockedCategory : public testing::Test {
  protected:
    ~BlockedCategory() override {
        Block({});
        g_bUseCatServer = CATENGINE_LIBRARY;
    }

    static void Block(const std::vector<uint16_t>& ids) {
        std::fill(std::begin(g_nBlockedCategories), std::end(g_nBlockedCategories), 0);
        std::copy(ids.begin(), ids.end(), g_nBlockedCategories);
        g_nBlockedCategoryCount = static_cast<uint16_t>(ids.size());
    }

    // Expects that nCategory is found, or with -1 that nothing is and the record stays as it was.
    static void Expect(tagWebRequest& request, int nCategory, const char* szReason) {
        SCOPED_TRACE(szReason);
        EXPECT_EQ(CheckBlockedCategory(&request), nCategory < 0 ? -1 : 0);
        EXPECT_EQ(request.nResult, nCategory < 0 ? RESULT_NONE : RESULT_CATEGORY);
        EXPECT_EQ(request.nCategory, nCategory < 0 ? 0u : static_cast<uint32_t>(nCategory));
    }
};

TEST_F(BlockedCategory, LibraryModesTakeTheFirstOfTheRequest) {
    const CatalogueInUse none = NoCatalogue();
    const struct {
        std::vector<uint16_t> ids;
        uint16_t nCount;
        int nCategory;
        const char* szReason;
    } cases[] = {
        {{17, 50, 2}, 3, 50, "the request's order decides, not the blocked list's"},
        {{17, 50, 2}, 1, -1, "the valid entries only"},
        {{17, 18, 19, 20, 21}, 65535, -1, "a count beyond the field"},
        {{17, 18, 19, 20, 3}, 6, 3, "the last entry of the field"},
        {{0}, 1, -1, "0 stands behind the valid entries of the blocked list"},
    };
    Block({2, 3, 50});
    for (const uint8_t nMode : {CATENGINE_LIBRARY, CATENGINE_LIBRARY_KV}) {
        g_bUseCatServer = nMode;
        for (const auto& c : cases) {
            tagWebRequest request{};
            std::strcpy(request.szCategories, "50");
            std::copy(c.ids.begin(), c.ids.end(), request.nCategoryIds);
            request.nCategoryCount = c.nCount;
            Expect(request, c.nCategory, c.szReason);
            EXPECT_EQ(std::u16string(request.wszReportText), c.nCategory < 0 ? u"" : u"ws_rpt_categoryurl");
        }
    }
}

TEST_F(BlockedCategory, ServerModeReadsTheText) {
    const struct {
        std::vector<uint16_t> blocked;
        std::string szCategories;
        int nCategory;
        const char* szReason;
    } cases[] = {
        {{2, 50}, ",50,2", 50, "the request's order decides"},
        {{50}, " \t+50abc", 50, "blanks and a sign before, letters behind"},
        {{0}, "abc", 0, "no digits count as 0"},
        {{0}, ",,,", -1, "empty tokens are not 0"},
        {{0}, "+-5", 0, "two signs are no number"},
        {{5}, "+-5,- 5", -1, "neither are they 5"},
        {{65531, 5}, "-5", -1, "negative"},
        {{2, 0}, "65538,4294967298,99999999999999999999", -1, "too large, and 2 when wrapped"},
        {{50}, std::string(16380, ',') + "50", 50, "at the end of the field"},
        {{50}, std::string(16382, ',') + "50", 50, "no terminator, and a digit behind the field"},
    };
    for (const uint8_t nMode : {uint8_t{CATENGINE_SERVER}, uint8_t{255}}) {
        g_bUseCatServer = nMode;
        for (const auto& c : cases) {
            Block(c.blocked);
            tagWebRequest request{};
            c.szCategories.copy(request.szCategories, sizeof request.szCategories);
            request.wszCategoryName[0] = u'1';
            request.nCategoryIds[0] = c.blocked[0];
            request.nCategoryCount = 1;
            Expect(request, c.nCategory, c.szReason);
            EXPECT_EQ(request.wszReportText[0], u'\0');
        }
    }
}

TEST_F(BlockedCategory, NothingBlockedPassesEverything) {
    tagWebRequest request{};
    request.nCategoryCount = 1;
    EXPECT_EQ(CheckBlockedCategory(&request), 0);
    EXPECT_EQ(request.nResult, RESULT_NONE);
    EXPECT_EQ(CheckBlockedCategory(nullptr), 2);
}

}  // namespace
