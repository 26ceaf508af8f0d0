// Settings go out and come back as they were, and nothing of a file that is wrong is taken.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "run_websecctl.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;

class Transfer : public WebsecctlTest {};

TEST_F(Transfer, WhatWasExportedComesBackByteForByte) {
    for (const std::vector<std::string>& change :
         std::vector<std::vector<std::string>>{{"block", "add", "b.example", "a.example/\xC3\xBC\"\\p"},
                                               {"block", "add", "c.example", "10.0.0.1", "--subdomains"},
                                               {"allow", "add", "ok.example", "--subdomains"},
                                               {"trust", "add", "t.example/p"},
                                               {"category", "block", "gambling", "weapons"},
                                               {"protection", "phishing", "off"}})
        ASSERT_EQ(Run(change).nStatus, 0);
    const std::string before = Run({"export"}).out;
    ASSERT_EQ(Run({"export", Path("saved.json")}).nStatus, 0);
    EXPECT_EQ(ReadFile("saved.json"), before);
    EXPECT_THAT(Run({"export", Path("saved.json")}).err, HasSubstr("--force"));
    ASSERT_EQ(Run({"export", "--force", Path("saved.json")}).nStatus, 0);

    ASSERT_EQ(Run({"block", "remove", "b.example"}).nStatus, 0);
    ASSERT_EQ(Run({"block", "add", "c.example", "later.example"}).nStatus, 0);
    ASSERT_EQ(Run({"category", "block", "news"}).nStatus, 0);
    for (const char* szStore : {"there", "away"}) {
        const tagRun run = Run({"import-settings", Path("saved.json")});
        EXPECT_EQ(run.nStatus, 0) << run.err;
        EXPECT_EQ(Run({"export"}).out, before) << szStore;
        std::filesystem::remove(Path("websec.db"));
    }
}

TEST_F(Transfer, NamesEachFaultAndTakesNothing) {
    ASSERT_EQ(Run({"block", "add", "kept.example"}).nStatus, 0);
    const std::string before = Run({"export"}).out;
    const struct {
        const char* szPlace;  // JSON pointer
        json value;
        const char* szFault;
    } rows[] = {
        {"/version", 2, "version: 2 is not known"},
        {"/version", "1", "version: is not a number"},
        {"/more", 1, "more: is not known"},
        {"/protections/browsing", 1, "protections.browsing: is not true or false"},
        {"/protections/brwsing", true, "protections.brwsing: is not known"},
        {"/lists", json::array(), "lists: is not an object"},
        {"/lists/block/1", {{"entry", "*.a.example"}}, "lists.block[1].entry: '*.a.example' holds '*'"},
        {"/lists/block/1", {{"entry", "a\xC2\x80.example"}}, "lists.block[1].entry: 'a\\xC2\\x80.example'"},
        {"/lists/block/1", {{"entry", "kept.example"}}, "lists.block[1].entry: 'kept.example' stands twice"},
        {"/lists/allow/0", {{"subdomains", true}}, "lists.allow[0].entry: is missing"},
        {"/lists/allow/0", "a.example", "lists.allow[0]: is not an object"},
        {"/lists/trust/0",
         {{"entry", "a.example"}, {"subdomains", true}},
         "lists.trust[0].subdomains: is not known"},
        {"/blocked_categories/0", "Gamblin", "blocked_categories[0]: 'Gamblin' is no category"},
        {"/blocked_categories", {"News", "News"}, "blocked_categories[1]: 'News' stands twice"},
    };
    json all = json::parse(before);
    for (const auto& row : rows) {
        json one = json::parse(before);
        one[json::json_pointer(row.szPlace)] = row.value;
        WriteFile("wrong.json", one.dump());
        EXPECT_THAT(Run({"import-settings", Path("wrong.json")}).err, HasSubstr(row.szFault));
    }
    for (const char* szText : {"", "[1", "nul", "null", R"({"lists": {}, "lists": 1})"}) {
        WriteFile("wrong.json", szText);
        EXPECT_EQ(Run({"import-settings", Path("wrong.json")}).nStatus, 1) << szText;
    }
    for (int n = 0; n <= 500; ++n)
        all["lists"]["allow"].push_back({{"entry", "h" + std::to_string(n) + ".example"}});
    WriteFile("wrong.json", all.dump());
    EXPECT_THAT(Run({"import-settings", Path("wrong.json")}).err,
                HasSubstr("lists.allow: holds 501 entries, and 500"));
    all["more"] = 1;
    all["lists"].erase("trust");
    WriteFile("wrong.json", all.dump());
    EXPECT_THAT(Run({"import-settings", Path("wrong.json")}).err,
                HasSubstr("nothing was changed\n  more: is not known\n  lists.trust: is missing"));
    EXPECT_EQ(Run({"export"}).out, before);
}

}  // namespace
