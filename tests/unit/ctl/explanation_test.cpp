// Which check decides, and with which of several entries.
#include "ctl/explanation.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>

#include <cstring>

#include "common/copy_text.h"
#include "ctl/output.h"
#include "policy/list_entry.h"
#include "policy/policy_state.h"
#include "policy/policy_switches.h"

namespace {

constexpr char SERVER[] = "192.0.2.7";

class Explanation : public ::testing::Test {
  protected:
    void SetUp() override {
        g_bCustomBlockList = 1;
        for (const char* szEntry : {"other.example", ".sub.example", "a.example", "a.example/x",
                                    "page.example/one", "page.example/two", "192.0.2.8", "192.0.2.9"}) {
            tagListEntryBuf entry{};
            CopyText(entry.szSource, szEntry);
            ASSERT_EQ(AddListEntry(entry), 0);
        }
        std::strcpy(m_patterns[0], "no.example");
        std::strcpy(m_patterns[1], "*free.example");
        g_ExclusionPatterns = {2, m_patterns};
        g_ExcludedRanges = {2, m_ranges};
    }
    void TearDown() override {
        FreePolicyLists();
        g_bCustomBlockList = 0;
        EXPECT_EQ(g_ExclusionPatterns.nCount, 2u) << "the search left a table changed";
        EXPECT_EQ(g_ExclusionPatterns.pPatterns, m_patterns);
        EXPECT_EQ(g_ExcludedRanges.pRanges, m_ranges);
        g_ExclusionPatterns = {};
        g_ExcludedRanges = {};
    }

    static tagExplanation Explain(const std::string& url, const char* szServer = SERVER) {
        return ExplainRequest(SplitURL(url), {inet_addr(szServer)});
    }

  private:
    char m_patterns[2][PATTERN_BYTES] = {};
    tagAddrRange m_ranges[2] = {{0x0A000000, htonl(0xFF000000)}, {0x7F000000, htonl(0xFF000000)}};
};

TEST_F(Explanation, NamesCheckAndEntry) {
    const struct {
        const char* szURL;
        bool bBlocked;
        const char* szCheck;
        const char* szEntry;
    } rows[] = {
        {"http://www.a.example/y", true, "block list, host", "a.example"},
        {"https://x.sub.example/", true, "block list, host", ".sub.example"},
        {"http://page.example/two", true, "block list, URL", "page.example/two"},
        {"http://page.example/three", false, "no check found anything", ""},
        {"http://192.0.2.9/", true, "block list, address", "192.0.2.9"},
        {"http://free.example/a.example/x", false, "exclusion pattern", "*free.example"},
        {"http://localhost/", false, "not judged: this host itself (http://localhost/)", ""},
        {"https://a/", false, "not judged: no request that is looked at", ""},
    };
    for (const auto& row : rows) {
        const tagExplanation explanation = Explain(row.szURL);
        EXPECT_EQ(explanation.bBlocked, row.bBlocked) << row.szURL;
        EXPECT_EQ(explanation.check, row.szCheck) << row.szURL;
        EXPECT_EQ(explanation.entry, row.szEntry) << row.szURL;
    }
}

TEST_F(Explanation, FTPIsJudgedByTheServersAddress) {
    g_bFirstFTPAddrMatch = 0;
    const tagExplanation explanation = Explain("ftp://a.example/pub/", "192.0.2.8");
    EXPECT_TRUE(explanation.bBlocked);
    EXPECT_EQ(explanation.check, "block list, address");
    EXPECT_EQ(explanation.entry, "192.0.2.8");
    EXPECT_THROW(ExplainRequest(SplitURL("ftp://a.example/"), {}), CtlError);
}

TEST_F(Explanation, ExcludedRangesDecideWhenAllAddressesLieInOne) {
    const tagExplanation inside = Explain("http://a.example/", "127.255.255.255");
    EXPECT_FALSE(inside.bBlocked);
    EXPECT_EQ(inside.entry, "127.0.0.0/8");
    const auto parts = SplitURL("http://a.example/");
    const tagExplanation partly = ExplainRequest(parts, {inet_addr("10.1.2.3"), inet_addr(SERVER)});
    EXPECT_TRUE(partly.bBlocked);
    EXPECT_EQ(partly.entry, "a.example");
    EXPECT_THAT(partly.notes, testing::Contains(testing::HasSubstr("10.0.0.0/8")));
}

}  // namespace
