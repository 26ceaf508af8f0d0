#include <netdb.h>
#include <signal.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "common/copy_text.h"
#include "inspect/url_helpers.h"
#include "policy/list_entry.h"
#include "policy/list_match.h"
#include "policy/list_resolve.h"
#include "policy/pattern_match.h"
#include "tests/support/policy_fixture.h"
#include "tests/support/scripted_resolver.h"

namespace {

using Texts = std::vector<std::string>;

class ListEntryTest : public PolicyTest {};

tagListEntryBuf Entry(std::string_view source, uint8_t bSubdomains, uint8_t nListKind) {
    tagListEntryBuf entry = {};
    CopyText(entry.szSource, source);
    entry.bSubdomains = bSubdomains;
    entry.nListKind = nListKind;
    return entry;
}

TEST_F(ListEntryTest, ParsesIntoNormalForm) {
    const struct {
        std::string source;
        uint8_t bSubdomains;
        std::string expected;
        uint8_t nType;
    } rows[] = {
        {"http://a.example:81/p", 0, "a.example", ENTRY_HOST},  // the path goes with the port
        {"https://a.example/p", 0, "a.example/p", ENTRY_URL},
        {"ftp://a.example:21/pub/", 0, "a.example/pub", ENTRY_URL},  // but not here
        {"HTTP://a.example/", 0, "HTTP", ENTRY_HOST},                // no scheme: the port removal cuts
        {"a.example/p?", 0, "a.example/p", ENTRY_URL},
        {"a.example", 1, ".a.example", ENTRY_HOST},
        {".a.example", 1, ".a.example", ENTRY_HOST},
        {"a.example", 2, "a.example", ENTRY_HOST},  // on is 1 alone
        {"10.0.0.1:80", 0, "10.0.0.1", ENTRY_ADDRESS},
        {"10.0.0.1", 1, ".10.0.0.1", ENTRY_HOST},
        {"http://", 1, ".", ENTRY_HOST},
        {"//", 0, "/", ENTRY_URL},
        {std::string(255, 'a'), 1, "." + std::string(254, 'a'), ENTRY_HOST},
    };
    for (const auto& row : rows) {
        tagListEntryBuf entry = Entry(row.source, row.bSubdomains, LIST_BLOCK);
        EXPECT_EQ(ParseListEntry(entry), 0);
        EXPECT_EQ(entry.szEntry, row.expected) << row.source;
        EXPECT_EQ(entry.nEntryType, row.nType) << row.source;
        EXPECT_EQ(g_bKeepPathAfterPort, 0) << row.source;
    }
}

TEST_F(ListEntryTest, KindAndTypeChooseTheLists) {
    for (const uint8_t nKind : {LIST_BLOCK, LIST_ALLOW, LIST_TRUSTED}) {
        for (const char* szSource : {"a.example", "a.example/p", "10.0.0.1", "xy"}) {
            tagListEntryBuf entry = Entry(szSource, 0, nKind);
            EXPECT_EQ(AddListEntry(entry), 0);
        }
    }
    for (const char* szTooShort : {"", "x"}) {
        tagListEntryBuf entry = Entry(szTooShort, 1, LIST_ALLOW);
        EXPECT_EQ(AddListEntry(entry), 2);
    }
    const Texts hosts = {"a.example", "xy"};
    const Texts urls = {"a.example/p", "10.0.0.1"};
    EXPECT_EQ(TextsOf(g_pBlockHostList), hosts);
    EXPECT_EQ(TextsOf(g_pAllowHostList), hosts);
    EXPECT_EQ(TextsOf(g_pBlockURLList), urls);
    EXPECT_EQ(TextsOf(g_pAllowURLList), urls);
    EXPECT_EQ(TextsOf(g_pBlockAddrList), Texts{"10.0.0.1"});
    EXPECT_EQ(TextsOf(g_pAllowAddrList), Texts{"10.0.0.1"});
    EXPECT_EQ(TextsOf(g_pTrustedSiteList), (Texts{"a.example", "a.example/p", "10.0.0.1", "xy"}));
}

class ListMatchTest : public PolicyTest {};

tagWebRequest Request(std::string_view host, std::string_view checkURL) {
    tagWebRequest request = {};
    request.nProtocol = PROTO_HTTP;
    CopyText(request.szHost, host);
    CopyText(request.szCheckURL, checkURL);
    return request;
}

struct tagMatchRow {
    const char *szEntry, *szText;
    uint8_t bExpected;
};

void ExpectMatches(int (*pfnMatch)(const char*, const tagListEntry*, uint8_t*),
                   std::initializer_list<tagMatchRow> rows) {
    tagListEntry node = {};
    uint8_t bFound = 7;
    for (const tagMatchRow& row : rows) {
        CopyText(node.szEntry, row.szEntry);
        EXPECT_EQ(pfnMatch(row.szText, &node, &bFound), 0);
        EXPECT_EQ(bFound, row.bExpected) << row.szEntry << " on " << row.szText;
    }
    EXPECT_EQ(pfnMatch(nullptr, &node, &bFound), 2);
}

TEST_F(ListMatchTest, URLsAreComparedExactlyButForWww) {
    ExpectMatches(MatchURLList, {{"a.example/p", "a.example/p", 1},
                                 {"a.example", "a.example/p", 0},
                                 {"www.a.example/p", "a.example/p", 1},
                                 {"a.example", "www.a.example", 0},
                                 {"WwW.a.example", "a.example", 1},
                                 {"www.www.a.b", "www.a.b", 0},
                                 {"www.a.b", "a.b", 0},
                                 {"www.ab.c", "ab.c", 1},
                                 {"wwwxa.example", "a.example", 0},
                                 {"", "", 1}});
    EXPECT_EQ(MatchURLList("", nullptr, nullptr), 2);
}

// "www." is known in lower case only.
TEST_F(ListMatchTest, HostsAreCoveredByNameOrByDomain) {
    ExpectMatches(MatchHostList, {{".a.example", "x.a.example", 1},
                                  {".a.example", "a.example", 1},
                                  {".a.example", "xa.example", 1},
                                  {".a.example", "A.EXAMPLE", 0},
                                  {".www.a.example", "a.example", 1},
                                  {".WWW.a.example", "a.example", 0},
                                  {".", "a.example", 0},
                                  {".www.", "a.example", 0},
                                  {"a.example", "WWW.A.Example", 1},
                                  {"a.example", "x.a.example", 0},
                                  {"www.a.example", "A.example", 1},
                                  {"www.a.example", "www.www.a.example", 0},
                                  {"WWW.a.example", "a.example", 0},
                                  {"WWW.a.example", "www.www.a.example", 1},
                                  {"", "", 1}});
}

TEST_F(ListMatchTest, ChecksAskAddressThenHostThenURL) {
    tagWebRequest unasked = {};
    EXPECT_EQ(CheckBlockLists(&unasked), 6) << "switched off";
    g_bCustomBlockList = 1;
    FillList(g_pBlockAddrList, {"10.0.0.1"});
    FillList(g_pBlockURLList, {"10.0.0.1", "10.0.0.2"});
    FillList(g_pAllowAddrList, {"10.0.0.3"});
    FillList(g_pAllowHostList, {"allow.example"});
    FillList(g_pAllowURLList, {"10.0.0.3", "allow.example/p", "x.example/p"});
    const struct {
        const char* szHost;
        const char* szCheckURL;
        uint8_t bIsIPHost;
        uint32_t nBlocked, nAllowed;
    } rows[] = {
        {"10.0.0.1", "10.0.0.1", 1, RESULT_BLOCK_HOST, RESULT_NONE},
        {"10.0.0.1", "10.0.0.1", 0, RESULT_BLOCK_URL, RESULT_NONE},
        {"10.0.0.2", "10.0.0.2", 1, RESULT_BLOCK_URL, RESULT_NONE},
        {"10.0.0.3", "10.0.0.3", 1, RESULT_NONE, RESULT_ALLOW_HOST},
        {"allow.example", "allow.example/p", 0, RESULT_NONE, RESULT_ALLOW_HOST},
        {"x.example", "x.example/p", 0, RESULT_NONE, RESULT_ALLOW_URL},
    };
    for (const auto& row : rows) {
        tagWebRequest blocked = Request(row.szHost, row.szCheckURL);
        tagWebRequest allowed = blocked;
        blocked.bIsIPHost = allowed.bIsIPHost = row.bIsIPHost;
        EXPECT_EQ(CheckBlockLists(&blocked), 0);
        EXPECT_EQ(CheckAllowLists(&allowed), 0);
        EXPECT_EQ(blocked.nResult, row.nBlocked) << row.szCheckURL;
        EXPECT_EQ(allowed.nResult, row.nAllowed) << row.szCheckURL;
    }
}

class ListResolveTest : public PolicyTest {
  protected:
    void SetUp() override {
        scripted_resolver::Answer("a.example", {"192.0.2.10", "2001:db8::1"});
        scripted_resolver::Answer("b.example", {"192.0.2.20"});
        scripted_resolver::Fail("busy.example", EAI_AGAIN);
    }
    void TearDown() override {
        scripted_resolver::Reset();
        PolicyTest::TearDown();
    }
};

TEST_F(ListResolveTest, HostsYieldAllTheirAddressesInOrder) {
    FillList(g_pBlockAddrList, {"10.0.0.1"});
    FillList(g_pBlockHostList, {".a.example", "busy.example", "b.example"});
    EXPECT_EQ(ResolveHostList(g_pBlockHostList, &g_pBlockAddrList), 0);
    EXPECT_EQ(scripted_resolver::Asked(), (Texts{"a.example", "b.example", "busy.example"}));
    EXPECT_EQ(TextsOf(g_pBlockAddrList), (Texts{"10.0.0.1", "192.0.2.10", "2001:db8::1", "192.0.2.20"}));
}

// Whatever comes behind it may have been asked for at the same time, and counts for nothing.
TEST_F(ListResolveTest, TheFirstUnknownHostEndsTheList) {
    for (int n = 0; n < 100; ++n) {
        FillList(g_pBlockHostList, {"b.example", "unknown.example", "a.example", "other.example"});
        EXPECT_EQ(ResolveHostList(g_pBlockHostList, &g_pBlockAddrList), 0);
        EXPECT_EQ(TextsOf(g_pBlockAddrList), Texts{"192.0.2.20"});
        FreePolicyLists();
    }
}

TEST_F(ListResolveTest, URLsAreAskedForTogetherAndKeepTheirPath) {
    scripted_resolver::AnswerTogether(4);
    FillList(g_pAllowURLList,
             {"10.0.0.1", "unknown.example/p", "busy.example/p", ".a.example/p/q", "b.example/"});
    EXPECT_EQ(ResolveURLList(g_pAllowURLList, &g_pAllowAddrList), 0);
    EXPECT_EQ(scripted_resolver::Asked(),
              (Texts{"a.example", "b.example", "busy.example", "unknown.example"}));
    EXPECT_EQ(TextsOf(g_pAllowAddrList), (Texts{"192.0.2.10/p/q", "2001:db8::1/p/q", "192.0.2.20/"}));
}

// However many names there are, the process ends at once.
TEST_F(ListResolveTest, NoNameIsAskedForWhileAStopWaits) {
    sigset_t stop, saved;
    sigemptyset(&stop);
    sigaddset(&stop, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stop, &saved);
    raise(SIGTERM);
    FillList(g_pBlockAddrList, {"10.0.0.1"});
    FillList(g_pBlockHostList, {"a.example"});
    FillList(g_pBlockURLList, {"b.example/p"});
    EXPECT_EQ(ResolveHostList(g_pBlockHostList, &g_pBlockAddrList), 0);
    EXPECT_EQ(ResolveURLList(g_pBlockURLList, &g_pBlockAddrList), 0);
    int nSignal = 0;
    sigwait(&stop, &nSignal);
    pthread_sigmask(SIG_SETMASK, &saved, nullptr);
    EXPECT_EQ(scripted_resolver::Asked(), Texts{});
    EXPECT_EQ(TextsOf(g_pBlockAddrList), Texts{"10.0.0.1"});
}

TEST_F(ListResolveTest, AnAddressWithALongPathIsCut) {
    const std::string path = "/" + std::string(244, 'p');
    scripted_resolver::Answer("b.example", {"2001:db8:1:2:3:4:5:6"});
    FillList(g_pAllowURLList, {"b.example" + path});
    EXPECT_EQ(ResolveURLList(g_pAllowURLList, &g_pAllowAddrList), 0);
    EXPECT_EQ(TextsOf(g_pAllowAddrList), Texts{("2001:db8:1:2:3:4:5:6" + path).substr(0, 256)});
    EXPECT_EQ(ResolveURLList(nullptr, &g_pAllowAddrList), 2);
}

class PatternMatchTest : public PolicyTest {
  protected:
    void TearDown() override {
        FreePatternTable(g_ExclusionPatterns);
        FreePatternTable(g_TrustedURLPatterns);
        PolicyTest::TearDown();
    }
};

void SetPatterns(tagPatternTable& table, std::initializer_list<std::string_view> patterns) {
    FreePatternTable(table);
    table.pPatterns = static_cast<char(*)[PATTERN_BYTES]>(std::calloc(patterns.size(), PATTERN_BYTES));
    for (const std::string_view pattern : patterns) {
        CopyText(table.pPatterns[table.nCount++], pattern);
    }
}

tagWebRequest Request(std::string_view checkURL) {
    tagWebRequest request = {};
    CopyText(request.szCheckURL, checkURL);
    return request;
}

TEST_F(PatternMatchTest, PatternsCoverURLs) {
    const struct {
        const char* szPattern;
        const char* szCheckURL;
        bool bExcluded, bTrusted;
    } rows[] = {
        {"a.example/", "a.example", true, true},
        {"a.example", "a.example?q", true, true},
        {"a.example", "a.example#f", true, true},
        {"a.example", "a.examples", false, false},
        {"a.example", "a.example:81", false, false},
        {"a.example//", "a.example/", true, true},  // one "/" is not part of it, the other is
        {"a.example//", "a.example", false, false},
        {"A.example", "a.Example", true, false},
        {"*a.example", "www.a.example/p", true, true},
        {"*a.example", "ba.example", true, true},
        {"*a.example", "a.example.b/a.example", false, false},  // the first occurrence decides
        {"", "", true, true},
        {"*", "/p", true, true},
        {"", "a.example", false, false},
        {"*", "a.example/p", false, false},  // the empty text occurs first at the start
        {"**", "a*", true, true},            // only the first "*" is special
    };
    for (const auto& row : rows) {
        SetPatterns(g_ExclusionPatterns, {"never.example", row.szPattern});
        SetPatterns(g_TrustedURLPatterns, {row.szPattern, "never.example"});
        tagWebRequest excluded = Request(row.szCheckURL);
        tagWebRequest trusted = Request(row.szCheckURL);
        EXPECT_EQ(CheckExclusionList(&excluded), 0);
        EXPECT_EQ(CheckTrustedURLs(&trusted), 0);
        EXPECT_EQ(excluded.nResult, row.bExcluded ? RESULT_EXCLUDED : RESULT_NONE)
            << row.szPattern << " on " << row.szCheckURL;
        EXPECT_EQ(trusted.nResult, row.bTrusted ? RESULT_SCAN_TRUSTED : RESULT_NONE)
            << row.szPattern << " on " << row.szCheckURL;
    }
    EXPECT_EQ(CheckExclusionList(nullptr), 2);
    EXPECT_EQ(CheckTrustedURLs(nullptr), 2);
}

}  // namespace
