// What is told of a request that the real scanner and the real engine have something to say about.
#include "ctl/findings.h"

#include <gmock/gmock.h>

#include "category/category_engine.h"
#include "common/copy_text.h"
#include "ctl/explanation.h"
#include "policy/list_entry.h"
#include "policy/policy_state.h"
#include "policy/policy_switches.h"
#include "policy/url_scanner.h"
#include "tests/unit/modules/list_folder.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr uint16_t GAMES = 50, NEWS = 31;

class Findings : public ListFolderTest {
  protected:
    void SetUp() override {
        ListFolderTest::SetUp();
        WriteThreatList(PHISHING_LIST, {{"phish.example", "Bank"}, {"trusted.example", "Bank"}});
        WriteThreatList(HARMFUL_LIST, {{"harm.example/bad", "Eicar"}, {"trusted.example", "Eicar"}});
        WriteCategoryList({{"games.example", GAMES}, {"allowed.example", GAMES}, {"news.example", NEWS}});
        g_bBrowsingProtection = g_bPhishingProtection = g_bWebCategoryFilter = g_bCustomBlockList = 1;
        const uint16_t blocked[] = {CATEGORY_HARMFUL, CATEGORY_PHISHING, 100 + GAMES};
        std::copy(std::begin(blocked), std::end(blocked), g_nBlockedCategories);
        g_nBlockedCategoryCount = std::size(blocked);
        AddEntry("trusted.example", LIST_TRUSTED);
        AddEntry("allowed.example", LIST_ALLOW);
        (void)StartCategoryEngineFrom("/nonexistent");
        LoadURLScannerFrom(URLCHECK_FILE);
    }
    void TearDown() override {
        (void)UnloadURLScanner();
        StopCategoryEngine();
        FreePolicyLists();
        g_bBrowsingProtection = g_bPhishingProtection = g_bWebCategoryFilter = g_bCustomBlockList = 0;
        g_nBlockedCategoryCount = 0;
        g_bUseCatServer = CATENGINE_LIBRARY;
        ListFolderTest::TearDown();
    }

    static tagExplanation Explain(const std::string& url) { return ExplainRequest(SplitURL(url), {}); }

  private:
    void AddEntry(const char* szText, uint8_t nKind) {
        tagListEntryBuf entry{};
        CopyText(entry.szSource, szText);
        entry.nListKind = nKind;
        EXPECT_EQ(AddListEntry(entry), 0);
    }
};

struct tagExpected {
    const char* szURL;
    bool bBlocked;
    const char* szCheck;
    const char* szThreat;    // as described; empty without one
    const char* szCategory;  // empty without one
    bool bCategoryBlocked;
};

void Expect(const tagExpected& expected, const tagExplanation& explanation) {
    SCOPED_TRACE(expected.szURL);
    EXPECT_EQ(explanation.bBlocked, expected.bBlocked);
    EXPECT_EQ(explanation.check, expected.szCheck);
    EXPECT_EQ(explanation.threat ? DescribeThreat(*explanation.threat) : "", expected.szThreat);
    ASSERT_EQ(explanation.categories.size(), *expected.szCategory == '\0' ? 0u : 1u);
    if (explanation.categories.empty()) return;
    EXPECT_EQ(explanation.categories[0].name, expected.szCategory);
    EXPECT_EQ(explanation.categories[0].bBlocked, expected.bCategoryBlocked);
}

TEST_F(Findings, TellWhatWasFoundAndWhatLiftedIt) {
    constexpr char PHISHING[] = "phishing site 'Bank', in the imported phishing list";
    const tagExpected rows[] = {
        {"http://phish.example/", true, "URL scanner: phishing site", PHISHING, "", false},
        {"http://harm.example/bad?x=1", true, "URL scanner: harmful site",
         "harmful site 'Eicar', in the imported harmful list", "", false},
        {"http://harm.example/", false, "no check found anything", "", "Unknown (0)", false},
        {"https://trusted.example/", false, "trusted site, which lifts a finding", PHISHING, "", false},
        {"http://games.example/", true, "blocked category", "", "Games (50)", true},
        {"http://allowed.example/", false, "allow list, host, which lifts a blocked category", "",
         "Games (50)", true},
        {"http://news.example/", false, "no check found anything", "", "News (31)", false},
    };
    for (const auto& row : rows)
        Expect(row, Explain(row.szURL));
    EXPECT_EQ(Explain("http://games.example/").entry, "Games (50)");
    EXPECT_EQ(Explain("https://trusted.example/").entry, "trusted.example");
}

TEST_F(Findings, TheEngineFindsWhatAMissingScannerWouldHaveFound) {
    (void)UnloadURLScanner();
    Expect({"http://phish.example/", true, "category engine: phishing site",
            "phishing site 'Bank', in the imported phishing list", "phishing site", true},
           Explain("http://phish.example/"));
    const tagExplanation trusted = Explain("http://trusted.example/");
    EXPECT_EQ(trusted.check, "trusted site, which lifts a finding");
    ASSERT_TRUE(trusted.threat);
    EXPECT_FALSE(trusted.threat->bByScanner);
    EXPECT_THAT(trusted.notes, Contains(HasSubstr("urlcheck.so cannot be loaded")));
}

TEST_F(Findings, SayWhyThereIsNoAnswer) {
    EXPECT_THAT(Explain("http://news.example/").notes, Not(Contains(HasSubstr("answer"))));
    g_bPhishingProtection = 0;
    EXPECT_THAT(Explain("http://news.example/").notes, Contains("the protection 'phishing' is off"));
    StopCategoryEngine();
    EXPECT_THAT(Explain("http://news.example/").notes, Contains(HasSubstr("engine does not start")));
    EXPECT_THAT(Explain("http://phish.example.invalid/").categories, IsEmpty());
    g_bUseCatServer = CATENGINE_SERVER;
    std::vector<std::string> notes;
    EXPECT_THAT(FindRequestCategories(tagWebRequest{}, notes), IsEmpty());
    EXPECT_THAT(notes, Contains(HasSubstr("127.0.0.1:7101 gives no answer")));
    std::filesystem::resize_file(m_folder.Path(HARMFUL_LIST), 90);
    notes.clear();
    NoteMissingProtections(notes);
    EXPECT_THAT(notes, Contains(HasSubstr("harmful.map is damaged")));
}

// The server's numbers 2 and 3 are Weapons and Violence; the site protections put both into the table.
TEST_F(Findings, WithTheServerAProtectionBlocksACategoryNobodyBlocked) {
    g_bUseCatServer = CATENGINE_SERVER;
    tagWebRequest request{};
    CopyText(request.szCategories, "2");
    request.nResult = RESULT_CATEGORY;
    request.nCategory = 2;
    std::vector<std::string> notes;
    const auto categories = FindRequestCategories(request, notes);
    ASSERT_EQ(categories.size(), 1u);
    EXPECT_EQ(categories[0].name, "Weapons (2)");
    EXPECT_TRUE(categories[0].bBlocked);
    EXPECT_THAT(notes, Contains(HasSubstr("'browsing' blocks the category Weapons (2)")));
    g_bWebCategoryFilter = 0;
    EXPECT_FALSE(FindRequestCategories(request, notes)[0].bBlocked);
    EXPECT_EQ(notes.size(), 1u);
}

}  // namespace
