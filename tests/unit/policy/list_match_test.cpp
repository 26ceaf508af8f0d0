#include "policy/list_match.h"

#include <string>

#include "tests/support/policy_fixture.h"

namespace {

class ListMatchTest : public PolicyTest {};

tagListEntry Node(std::string_view text) {
    tagListEntry node = {};
    CopyText(node.szEntry, text);
    return node;
}

tagWebRequest Request(std::string_view host, std::string_view checkURL) {
    tagWebRequest request = {};
    request.nProtocol = PROTO_HTTP;
    CopyText(request.szHost, host);
    CopyText(request.szCheckURL, checkURL);
    return request;
}

TEST_F(ListMatchTest, URLsAreComparedExactlyButForWww) {
    const struct {
        const char* szEntry;
        const char* szURL;
        uint8_t bExpected;
    } rows[] = {
        {"a.example/p", "a.example/p", 1},
        {"a.example", "a.example/p", 0},
        {"www.a.example/p", "a.example/p", 1},
        {"a.example", "www.a.example", 0},
        {"WwW.a.example", "a.example", 1},
        {"www.www.a.b", "www.a.b", 0},
        {"www.a.b", "a.b", 0},
        {"www.ab.c", "ab.c", 1},
        {"wwwxa.example", "a.example", 0},
        {"", "", 1},
    };
    for (const auto& row : rows) {
        const tagListEntry node = Node(row.szEntry);
        uint8_t bFound = 7;
        EXPECT_EQ(MatchURLList(row.szURL, &node, &bFound), 0);
        EXPECT_EQ(bFound, row.bExpected) << row.szEntry << " on " << row.szURL;
    }
}

TEST_F(ListMatchTest, HostsAreCoveredByNameOrByDomain) {
    const struct {
        const char* szEntry;
        const char* szHost;
        uint8_t bExpected;
    } rows[] = {
        {".a.example", "x.a.example", 1},
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
        {"WWW.a.example", "a.example", 0},  // "www." is known in lower case only
        {"WWW.a.example", "www.www.a.example", 1},
        {"", "", 1},
    };
    for (const auto& row : rows) {
        const tagListEntry node = Node(row.szEntry);
        uint8_t bFound = 7;
        EXPECT_EQ(MatchHostList(row.szHost, &node, &bFound), 0);
        EXPECT_EQ(bFound, row.bExpected) << row.szEntry << " on " << row.szHost;
    }
}

TEST_F(ListMatchTest, WalksTheWholeListAndClearsTheFlag) {
    FillList(g_pBlockURLList, {"a", "b", "c"});
    uint8_t bFound = 0;
    EXPECT_EQ(MatchURLList("c", g_pBlockURLList, &bFound), 0);
    EXPECT_EQ(bFound, 1);
    EXPECT_EQ(MatchHostList("d", g_pBlockURLList, &bFound), 0);
    EXPECT_EQ(bFound, 0);
    EXPECT_EQ(MatchURLList(nullptr, g_pBlockURLList, &bFound), 2);
    EXPECT_EQ(MatchURLList("a", g_pBlockURLList, nullptr), 2);
    EXPECT_EQ(MatchHostList(nullptr, g_pBlockURLList, &bFound), 2);
}

TEST_F(ListMatchTest, ChecksAskAddressThenHostThenURL) {
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

TEST_F(ListMatchTest, ChecksLeaveTheResultAloneWithoutAHit) {
    tagWebRequest request = Request("a.example", "a.example");
    request.nResult = RESULT_CATEGORY;
    FillList(g_pBlockHostList, {"a.example"});
    EXPECT_EQ(CheckBlockLists(&request), 6) << "switched off";
    EXPECT_EQ(CheckAllowLists(&request), 0);
    EXPECT_EQ(CheckTrustedSites(&request), 0);
    EXPECT_EQ(request.nResult, RESULT_CATEGORY);

    g_bCustomBlockList = 2;  // any value but 0 lets the check run
    EXPECT_EQ(CheckBlockLists(&request), 0);
    EXPECT_EQ(request.nResult, RESULT_BLOCK_HOST);

    FillList(g_pTrustedSiteList, {"www.a.example"});
    EXPECT_EQ(CheckTrustedSites(&request), 0);
    EXPECT_EQ(request.nResult, RESULT_EXCLUDED);
}

}  // namespace
