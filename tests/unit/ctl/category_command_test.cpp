// Blocking categories by name, and what is said of names that are none.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "category/category_table.h"
#include "ctl/category_suggestions.h"
#include "run_websecctl.h"
#include "tests/support/list_maps.h"

namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class CategoryCommand : public WebsecctlTest {
  protected:
    CategoryCommand() { setenv("WEBSEC_LISTS", Path("").c_str(), 1); }
    ~CategoryCommand() override { unsetenv("WEBSEC_LISTS"); }

    std::vector<int> Blocked() {
        std::vector<int> blocked;
        const json answer = json::parse(Run({"--json", "category", "list"}).out);
        for (const auto& category : answer["categories"]) {
            if (category["blocked"]) blocked.push_back(category["id"]);
        }
        return blocked;
    }
};

TEST_F(CategoryCommand, BlocksAndUnblocksByAnyOfItsNames) {
    ASSERT_EQ(Run({"protection", "category", "on"}).nStatus, 0);
    const tagRun block = Run({"category", "block", "GAMBLING", "job_search", "porn", "poker? job search"});
    EXPECT_EQ(block.nStatus, 1) << "one is refused, so none is blocked";
    EXPECT_THAT(Blocked(), IsEmpty());
    EXPECT_THAT(Run({"category", "block", "GAMBLING", "job_search", "porn", "sex"}).err,
                testing::Not(HasSubstr("warning")));
    EXPECT_THAT(Blocked(), ElementsAre(22, 37, 51));
    const json again = json::parse(Run({"--json", "category", "block", "gambling", "weapons"}).out);
    EXPECT_EQ(again["blocked"], json::parse(R"([{"id":2,"name":"Weapons"}])"));
    EXPECT_EQ(again["unchanged"], json::parse(R"([{"id":51,"name":"Gambling"}])"));
    EXPECT_THAT(Run({"category", "unblock", "Job Search", "arts"}).out, HasSubstr("already unblocked Arts"));
    EXPECT_THAT(Blocked(), ElementsAre(2, 22, 51));
}

TEST_F(CategoryCommand, WarnsOfWhatIsNotMeant) {
    EXPECT_THAT(Run({"category", "block", "gambling"}).err, HasSubstr("protection category on"));
    EXPECT_THAT(Run({"category", "list"}).err, HasSubstr("protection category on"));
    ASSERT_EQ(Run({"protection", "category", "on"}).nStatus, 0);
    EXPECT_THAT(Run({"category", "block", "unknown"}).err, HasSubstr("every site that stands in no list"));
}

TEST_F(CategoryCommand, NoMoreAreBlockedThanTheDaemonHolds) {
    std::vector<std::string> arguments = {"category", "block"};
    for (int n = 1; n <= 62; ++n)
        arguments.emplace_back(CATEGORY_TABLE[n].szName);
    EXPECT_EQ(Run(arguments).nStatus, 0);
    const tagRun run = Run({"category", "block", "books or comics", "arts"});
    EXPECT_EQ(run.nStatus, 1);
    EXPECT_THAT(run.err, HasSubstr("62 at most; nothing was changed"));
    EXPECT_EQ(Blocked().size(), 62u);
}

TEST_F(CategoryCommand, TheListCountsTheNamesThatWereImported) {
    ASSERT_EQ(Run({"category", "block", "news"}).nStatus, 0);
    EXPECT_THAT(Run({"category", "list"}).out, testing::Not(HasSubstr("LISTED NAMES")));
    WriteCategoryList({{"a.example", 31}, {"b.example", 31}, {"b.example", 10}});
    const json categories = json::parse(Run({"--json", "category", "list"}).out)["categories"];
    ASSERT_EQ(categories.size(), CATEGORY_COUNT);
    EXPECT_EQ(categories[31], json::parse(R"({"id":31,"name":"News","blocked":true,"listed_names":2})"));
    EXPECT_EQ(categories[10]["listed_names"], 1);
    EXPECT_EQ(categories[0]["listed_names"], 0);
}

TEST(CategorySuggestions, AreTheNearestNames) {
    EXPECT_THAT(SuggestCategories("gambing"), ElementsAre("Gambling"));
    EXPECT_THAT(SuggestCategories("mail"), ElementsAre("Web-based Email"));
    EXPECT_THAT(SuggestCategories("social media"), IsEmpty()) << "half of a name is not near";
    EXPECT_THAT(SuggestCategories("torent"), ElementsAre("Peer-to-Peer")) << "a public list's name";
    EXPECT_EQ(SuggestCategories("site").size(), 3u) << "no more than can be read";
    EXPECT_THAT(SuggestCategories("!?"), IsEmpty());
    EXPECT_THAT(SuggestCategories(std::string(100000, 'x')), IsEmpty());
}

}  // namespace
