#include "policy/list_entry.h"

#include <string>
#include <vector>

#include "inspect/url_helpers.h"
#include "tests/support/policy_fixture.h"

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

}  // namespace
