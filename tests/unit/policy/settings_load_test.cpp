#include "policy/settings_load.h"

#include <functional>
#include <numeric>
#include <string>
#include <vector>

#include "policy/client_settings.h"
#include "report/report_module.h"
#include "tests/support/policy_fixture.h"
#include "tests/support/scripted_resolver.h"

namespace {

using Texts = std::vector<std::string>;

// What the settings store answers.
std::function<bool(tagClientSettingData&)> g_Store;

uint8_t AnswerFromStore(tagClientSettingData* pSettings, uint32_t* pReserved) {
    *pReserved = 1;
    return g_Store(*pSettings);
}

// Hands over what is in the sequences, from the last list to the first.
uint8_t WalkStore(tagClientSettingData* pSettings, TakeListSettingFn pfnTake, void* pContext, uint32_t*) {
    tagClientSettingData all = {};
    const bool bDone = g_Store(all);
    *pSettings = all;
    pSettings->vecTrustedSites = {};
    pSettings->vecAllowList = pSettings->vecBlockList = {};
    all.vecCategories = {};
    for (const auto& site : Elements(all.vecTrustedSites))
        pfnTake(LIST_TRUSTED, site.wszText, 1, pContext);
    for (const auto& url : Elements(all.vecAllowList))
        pfnTake(LIST_ALLOW, url.wszText, url.bSubdomains, pContext);
    for (const auto& url : Elements(all.vecBlockList))
        pfnTake(LIST_BLOCK, url.wszText, url.bSubdomains, pContext);
    pfnTake(LIST_TRUSTED + 1, u"no.list", 0, pContext);
    ReleaseSettings(all);
    return bDone;
}

// With a module that appends the entries to the record, and with one that hands them over.
class SettingsLoadTest : public PolicyTest, public testing::WithParamInterface<bool> {
  protected:
    void SetUp() override {
        g_bReportModuleLoaded = 1;
        g_pfnGetClientAllSettingData = AnswerFromStore;
        g_pfnWalkClientSettingData = GetParam() ? WalkStore : nullptr;
    }
    void TearDown() override {
        g_bReportModuleLoaded = 0;
        g_pfnGetClientAllSettingData = nullptr;
        g_pfnWalkClientSettingData = nullptr;
        scripted_resolver::Reset();
        PolicyTest::TearDown();
    }
};

template <size_t N>
void Write(char16_t (&wszTo)[N], std::u16string_view text) {
    text.copy(wszTo, N - 1);
}

void AddURL(tagSequence<tagURLSetting>& urls, std::u16string_view text, uint32_t bSubdomains = 0) {
    tagURLSetting& url = *AppendElement(urls);
    Write(url.wszText, text);
    url.bSubdomains = bSubdomains;
}

void AddCategory(tagClientSettingData& settings, uint32_t nCategory, uint32_t bBlocked) {
    tagCategorySetting& category = *AppendElement(settings.vecCategories);
    category.nCategory = nCategory;
    category.bBlocked = bBlocked;
}

bool AnswerEverything(tagClientSettingData& settings) {
    settings.nBrowsingProtection = settings.nPhishingProtection = settings.nWebCategoryFilter = 1;
    settings.nCustomBlockList = settings.nReportBlocked = 1;
    AddCategory(settings, 5, 0);
    for (uint32_t n = 0; n < 70; ++n) {
        AddCategory(settings, 100 + n, 1);
    }
    AddURL(settings.vecBlockList, u"http://block.example", 1);
    AddURL(settings.vecBlockList, u"block.example/p");
    AddURL(settings.vecAllowList, u"allow.example");
    AddURL(settings.vecAllowList, u"allow.example/p");
    AddURL(settings.vecAllowList, u"x");
    Write(AppendElement(settings.vecTrustedSites)->wszText, u"trusted.example");
    return true;
}

TEST_P(SettingsLoadTest, BuildsTheWholePolicy) {
    scripted_resolver::Answer("block.example", {"192.0.2.1"});
    scripted_resolver::Answer("allow.example", {"192.0.2.2"});
    g_Store = AnswerEverything;
    EXPECT_EQ(LoadPolicySettings(), 0);

    std::vector<uint16_t> expected(62);
    std::iota(expected.begin(), expected.end(), uint16_t{100});
    expected.insert(expected.begin(), {2, 3});
    EXPECT_EQ(std::vector<uint16_t>(std::begin(g_nBlockedCategories), std::end(g_nBlockedCategories)),
              expected);
    EXPECT_EQ(g_nBlockedCategoryCount, 64);
    EXPECT_EQ(g_bReportBlocked, 1);
    EXPECT_EQ(TextsOf(g_pBlockHostList), Texts{".block.example"});
    EXPECT_EQ(TextsOf(g_pBlockURLList), Texts{"block.example/p"});
    EXPECT_EQ(TextsOf(g_pBlockAddrList), (Texts{"192.0.2.1", "192.0.2.1/p"}));
    EXPECT_EQ(TextsOf(g_pAllowHostList), Texts{"allow.example"});
    EXPECT_EQ(TextsOf(g_pAllowURLList), Texts{"allow.example/p"});
    EXPECT_EQ(TextsOf(g_pAllowAddrList), (Texts{"192.0.2.2", "192.0.2.2/p"}));
    EXPECT_EQ(TextsOf(g_pTrustedSiteList), Texts{"trusted.example"});
    EXPECT_EQ(scripted_resolver::Asked(),
              (Texts{"allow.example", "allow.example", "block.example", "block.example"}));
}

// Each switch rules over its own share of the policy, and only when its low byte is 1.
TEST_P(SettingsLoadTest, SwitchesChooseWhatIsLoaded) {
    const struct {
        uint32_t nBrowsing, nPhishing, nFilter, nBlock;
        std::vector<uint16_t> categories;  // the first of them
        bool bAllow, bBlock, bTrusted;
    } rows[] = {
        {1, 0, 0, 1, {2}, false, true, true},
        {0, 1, 0, 0, {3}, false, false, true},
        {0, 0, 1, 0, {100, 101}, true, false, false},
        {0x101, 0x101, 0x101, 0x101, {2, 3, 100, 101}, true, true, true},
        {2, 2, 2, 2, {}, false, false, false},
    };
    for (const auto& row : rows) {
        g_Store = [&row](tagClientSettingData& settings) {
            AnswerEverything(settings);
            settings.nBrowsingProtection = row.nBrowsing;
            settings.nPhishingProtection = row.nPhishing;
            settings.nWebCategoryFilter = row.nFilter;
            settings.nCustomBlockList = row.nBlock;
            return true;
        };
        EXPECT_EQ(LoadPolicySettings(), 0);
        SCOPED_TRACE(&row - rows);
        EXPECT_TRUE(std::equal(row.categories.begin(), row.categories.end(), g_nBlockedCategories));
        EXPECT_EQ(g_nBlockedCategoryCount, row.bAllow ? 64 : row.categories.size());
        if (!row.bAllow) {
            EXPECT_EQ(g_nBlockedCategories[row.categories.size()], 0) << "left by the row before";
        }
        EXPECT_EQ(g_pAllowHostList != nullptr, row.bAllow);
        EXPECT_EQ(g_pBlockHostList != nullptr, row.bBlock);
        EXPECT_EQ(g_pTrustedSiteList != nullptr, row.bTrusted);
        EXPECT_EQ(g_bCustomBlockList, static_cast<uint8_t>(row.nBlock));
    }
}

TEST_P(SettingsLoadTest, AFailedFetchKeepsThePolicyInForce) {
    g_Store = AnswerEverything;
    EXPECT_EQ(LoadPolicySettings(), 0);
    g_Store = [](tagClientSettingData& settings) {
        AddURL(settings.vecBlockList, u"half.example");  // filled in part before it failed
        return false;
    };
    EXPECT_EQ(LoadPolicySettings(), 9);
    g_bReportModuleLoaded = 0;
    EXPECT_EQ(LoadPolicySettings(), 9);
    EXPECT_EQ(TextsOf(g_pBlockHostList), Texts{".block.example"});
    EXPECT_EQ(g_nBlockedCategoryCount, 64);
    EXPECT_EQ(g_bBrowsingProtection, 1);
}

// What a reload fetched counts, though the fetch of a worker that began before it comes later.
TEST_P(SettingsLoadTest, TheLaterFetchStaysInForce) {
    g_Store = AnswerEverything;
    tagPolicy early = {}, late = {};
    EXPECT_EQ(MakePolicy(early), 0);
    EXPECT_EQ(g_pBlockHostList, nullptr) << "not in force yet";
    g_Store = [](tagClientSettingData& settings) {
        settings.nCustomBlockList = 1;
        AddURL(settings.vecBlockList, u"late.example");
        return true;
    };
    EXPECT_EQ(MakePolicy(late), 0);
    PutPolicyInForce(late);
    PutPolicyInForce(early);
    EXPECT_EQ(TextsOf(g_pBlockHostList), Texts{"late.example"});
    FreePolicy(early);
    FreePolicy(late);
    EXPECT_EQ(TextsOf(g_pBlockHostList), Texts{"late.example"});
    EXPECT_EQ(LoadPolicySettings(), 0);
    EXPECT_EQ(g_bBrowsingProtection, 0);
}

TEST_P(SettingsLoadTest, NarrowsAndCutsTexts) {
    g_Store = [](tagClientSettingData& settings) {
        settings.nCustomBlockList = 1;
        AddURL(settings.vecBlockList, std::u16string(300, u'a'));
        AddURL(settings.vecBlockList, u"ab\u0100cd");  // the low byte 0 ends the text
        AddURL(settings.vecBlockList, u"b\u20AC");
        return true;
    };
    EXPECT_EQ(LoadPolicySettings(), 0);
    EXPECT_EQ(TextsOf(g_pBlockHostList), (Texts{std::string(255, 'a'), "ab", "b\xAC"}));
}

INSTANTIATE_TEST_SUITE_P(, SettingsLoadTest, testing::Bool());

}  // namespace
