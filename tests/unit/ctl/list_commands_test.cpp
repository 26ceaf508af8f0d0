// What goes into the lists, what is refused and what is warned of.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "run_websecctl.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;

class ListCommands : public WebsecctlTest {
  protected:
    std::vector<std::string> Listed(const std::string& list) {
        std::vector<std::string> entries;
        const json document = json::parse(Run({list, "list", "--json"}).out);
        for (const auto& entry : document["entries"])
            entries.push_back(entry["read_as"]);
        return entries;
    }
};

TEST_F(ListCommands, KeepEntriesInOrderAndRemoveThem) {
    const tagRun added = Run({"block", "add", "b.example", "a.example", "--subdomains"});
    EXPECT_EQ(added.nStatus, 0);
    EXPECT_THAT(added.out, HasSubstr("added b.example and its sub-domains"));
    EXPECT_THAT(added.err, HasSubstr("a new one is made at " + Path("websec.db")));
    EXPECT_EQ(Run({"block", "add", "10.0.0.1"}).nStatus, 0);
    EXPECT_EQ(Listed("block"), (std::vector<std::string>{".b.example", ".a.example", "10.0.0.1"}));

    EXPECT_THAT(Run({"block", "add", "10.0.0.1"}).out, HasSubstr("already there: 10.0.0.1"));
    EXPECT_THAT(Run({"block", "add", "a.example"}).out, HasSubstr("changed to a.example"));
    EXPECT_EQ(Run({"block", "remove", "b.example", "10.0.0.1"}).nStatus, 0);
    EXPECT_EQ(Listed("block"), (std::vector<std::string>{"a.example"}));
    EXPECT_THAT(Run({"block", "add", "a.example/p"}).out, HasSubstr("added a.example/p, not under https"));
    EXPECT_THAT(Run({"trust", "add", "a.example"}).out, HasSubstr("added a.example, under http no page but"));
}

TEST_F(ListCommands, RefuseWithValueAndReasonAndChangeNothing) {
    const struct {
        std::string value;
        const char* szShown;
        const char* szReason;
    } rows[] = {
        {"", "''", "is empty"},
        {"x", "'x'", "single character"},
        {std::string(256, 'a'), "'aaaa", "256 characters, at most 255"},
        {"a.example\x1b[2J", "'a.example\\x1B[2J'", "blank or a control character"},
        {"http://", "'http://'", "names no host"},
        {"::1", "'::1'", "IPv6 address"},
        {"http://[2001:db8::1]/p", "'http://[2001", "IPv6 address"},
        {"http://me:pw@a.example:81/", "'http://me", "holds a user name"},
        {"10.0.0.256", "'10.0.0.256'", "is not an IPv4 address"},
        {"1.2.3.4.5/p", "'1.2.3.4.5/p'", "is not an IPv4 address"},
        {"{}", "'{}'", "holds '{', which no host name has"},
        {"*.a.example", "'*.a.example'", "--subdomains covers"},
        {"a.example?q=1", "'a.example?q=1'", "holds '?'"},
        {"http://a.example\\b/c", "'http://", "no host name has"},
    };
    ASSERT_EQ(Run({"allow", "add", "kept.example"}).nStatus, 0);
    for (const auto& row : rows) {
        const tagRun run = Run({"allow", "add", "fine.example", row.value});
        EXPECT_EQ(run.nStatus, 1) << row.value;
        EXPECT_THAT(run.err, HasSubstr(row.szShown));
        EXPECT_THAT(run.err, HasSubstr(row.szReason)) << row.value;
        EXPECT_EQ(run.out, "");
    }
    EXPECT_THAT(Run({"trust", "add", ".a.example/p"}).err, HasSubstr("covers no sub-domains"));
    const tagRun missing = Run({"allow", "remove", "kept.example", "other.example"});
    EXPECT_EQ(missing.nStatus, 1);
    EXPECT_THAT(missing.err, HasSubstr("'other.example' is not in the allow list"));
    EXPECT_EQ(Listed("allow"), (std::vector<std::string>{"kept.example"}));
}

TEST_F(ListCommands, WarnOfEntriesThatAreReadOtherwise) {
    (void)Run({"protection", "report", "on"});  // makes the store
    const struct {
        std::vector<std::string> arguments;
        const char* szWarning;  // null: none
    } rows[] = {
        {{"block", "add", "http://a.example/"}, nullptr},
        {{"block", "add", std::string(255, 'a')}, nullptr},
        {{"block", "add", "ftp://a.example/pub/"}, nullptr},
        {{"block", "add", "b.example", "--subdomains"}, "also covers hosts such as xb.example"},
        {{"block", "add", "co.uk", "--subdomains"}, "public suffix"},
        {{"block", "add", "com", "--subdomains"}, "public suffix"},
        {{"block", "add", "HTTPS://a.example/"}, nullptr},
        {{"block", "add", "GOPHER://a.example/"}, "read as the host 'GOPHER'; the only schemes"},
        {{"block", "add", "http://a.example:81/p"},
         "read as the host 'a.example'; a ':' and all that follows"},
        {{"block", "add", "ftp://a.example:21/p"}, "read as the URL 'a.example/p'; a port is left out"},
        {{"block", "add", "a.example/*"}, "no wildcards"},
        {{"block", "add", "a.example/p#q"}, "keep a '#'"},
        {{"block", "add", "a.example/p", "--subdomains"}, "URL '.a.example/p', which only requests to"},
        {{"block", "add", "10.0.0.1", "--subdomains"}, "an address has no sub-domains"},
        {{"block", "add", "10.0.0.0/8"}, "no ranges of addresses: it is read as the one page"},
        {{"block", "add", "127.1"}, "requests carry '127.0.0.1'"},
        {{"block", "add", "https://a.example/q"}, "only the host is seen"},
        {{"block", "add", "C.example", "--subdomains"}, "capitals"},
        {{"trust", "add", "C.example"}, "capitals"},
        {{"trust", "add", "b\xC3\xBC.example"}, "xn--"},
        {{"block", "add", std::string(255, 'b'), "--subdomains"}, "it is read as the host"},
    };
    for (const auto& row : rows) {
        const tagRun run = Run(row.arguments);
        EXPECT_EQ(run.nStatus, 0) << run.err;
        EXPECT_THAT(run.err, HasSubstr(row.szWarning ? row.szWarning : "")) << row.arguments[2];
        EXPECT_EQ(run.err.empty(), row.szWarning == nullptr) << run.err;
    }
}

TEST_F(ListCommands, TellWrongUsageFromRefusal) {
    const std::pair<std::vector<std::string>, const char*> wrong[] = {
        {{}, "subcommand is required"},
        {{"block", "add"}, "ENTRY is required"},
        {{"block", "put", "a.example"}, "block has no command 'put'; it has: add, remove, list"},
        {{"blok", "add", "a.example"}, "there is no command 'blok'; did you mean 'block'?"},
        {{"report", "sumary"}, "report has no command 'sumary'; did you mean 'summary'?"},
        {{"trust", "add", "a.example", "--subdomains"}, "--subdomains"},
        {{"protection", "phishing"}, "STATE is required"},
        {{"protection", "phishing", "maybe"}, "maybe"},
        {{"datafile", "build", "lists", "out.dat"}, "lists"},
    };
    for (const auto& [arguments, szReason] : wrong) {
        const tagRun run = Run(arguments);
        EXPECT_EQ(run.nStatus, 2) << testing::PrintToString(arguments);
        EXPECT_THAT(run.err, HasSubstr(szReason));
    }
    for (const auto& arguments :
         {std::vector<std::string>{"--help"}, {"--version"}, {"trust", "add", "--help"}}) {
        EXPECT_EQ(Run(arguments).nStatus, 0) << testing::PrintToString(arguments);
    }
}

TEST_F(ListCommands, RefuseInJsonWhereItIsAsked) {
    const struct {
        std::vector<std::string> arguments;
        int nStatus;
        const char* szReason;
    } rows[] = {
        {{"--json", "block", "list"}, 1, "no settings store"},
        {{"block", "add", "a\"\xFF b", "--json"}, 1, "blank"},
        {{"block", "put", "--json"}, 2, "has no command 'put'"},
        {{"report", "--limit", "x", "--json"}, 2, "--limit"},
    };
    for (const auto& row : rows) {
        const tagRun run = Run(row.arguments);
        EXPECT_EQ(run.nStatus, row.nStatus);
        const json document = json::parse(run.err, nullptr, false);
        ASSERT_TRUE(document.contains("error")) << run.err;
        EXPECT_THAT(std::string(document["error"]), HasSubstr(row.szReason));
    }
    EXPECT_FALSE(std::filesystem::exists(Path("websec.db"))) << "reading must not make a store";
    WriteFile("websec.db", std::string(5000, 'x'));
    EXPECT_THAT(Run({"block", "add", "a.example"}).err, HasSubstr("import-settings"));
    EXPECT_EQ(ReadFile("websec.db"), std::string(5000, 'x'));
}

}  // namespace
