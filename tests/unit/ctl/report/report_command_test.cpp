// websecctl report as an administrator runs it.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <nlohmann/json.hpp>

#include "tests/unit/ctl/blocked_requests.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;
using Arguments = std::vector<std::string>;

class ReportCommand : public ReportsTest {
  protected:
    void BlockSome() {
        Block({"20-Nov-2024 10:00:00", "alice", "a.example/1", 4});
        Block({"20-Nov-2024 23:59:59", "bob", "ads.a.example/2", 5});
        Block({"21-Nov-2024 00:00:00", "alice", "b.example/3", 6, "Gambling", 151});
        Block({"22-Nov-2024 12:00:00", "", "nota.example/4", 7});
        Block({"22-Nov-2024 14:00:00", "bob", "A.example/5", 8, "EICAR"});
    }
    // The last character of each row's URL, in the order of the answer.
    std::string Listed(Arguments arguments) {
        arguments.insert(arguments.begin(), {"report", "--json"});
        const tagRun run = Run(arguments);
        EXPECT_EQ(run.nStatus, 0) << run.err;
        std::string listed;
        for (const auto& row : json::parse(run.out))
            listed += row["url"].get<std::string>().back();
        return listed;
    }
};

TEST_F(ReportCommand, ListsTheRowsThatAreMeantNewestFirst) {
    BlockSome();
    const std::pair<Arguments, const char*> rows[] = {
        {{}, "54321"},
        {{"--since", "2024-11-21", "--until", "2024-11-22 14:00"}, "43"},
        {{"--since", "1h"}, ""},
        {{"--user", "alice"}, "31"},
        {{"--user", ""}, "4"},
        {{"--host", "a.example"}, "521"},
        {{"--reason", "block-list,harmful"}, "521"},
        {{"--reason", "phishing", "--reason", "category"}, "43"},
        {{"--user", "bob", "--reason", "harmful", "--host", "A.EXAMPLE"}, "5"},
        {{"--limit", "2"}, "54"},
        {{"--limit", "0"}, "54321"},
    };
    for (const auto& [arguments, szExpected] : rows)
        EXPECT_EQ(Listed(arguments), szExpected) << testing::PrintToString(arguments);

    const json newest = json::parse(Run({"report", "--json"}).out)[0];
    EXPECT_EQ(newest["time"], "2024-11-22 14:00:00");
    EXPECT_EQ(newest["reason"], "harmful");
    EXPECT_EQ(newest["threat"], "EICAR");
    EXPECT_TRUE(newest["category_id"].is_null());
    EXPECT_EQ(json::parse(Run({"report", "--json"}).out)[2]["category_id"], 51);
    EXPECT_THAT(Run({"report"}).out, HasSubstr("category: Gambling  b.example/3\n"));
}

TEST_F(ReportCommand, ListsFiftyUnlessToldOtherwise) {
    for (int n = 0; n < 60; ++n) {
        Block({"20-Nov-2024 10:00:00", "alice", (std::to_string(n) + ".example/1").c_str(), 4});
        Block({"20-Nov-2024 10:00:01", "alice", (std::to_string(n) + ".example/1").c_str(), 4});
    }
    EXPECT_EQ(Listed({}).size(), 50u);
    EXPECT_EQ(Listed({"--limit", "0"}).size(), 60u) << "the second block of each is a retry";
}

TEST_F(ReportCommand, RefusesWhatItWouldPassOver) {
    BlockSome();
    const Arguments wrong[] = {
        {"--since", "soon"},
        {"--reason", "bad"},
        {"--csv", "--json"},
        {"--csv", "--html", "x"},
        {"--follow", "--html", "x"},
        {"purge", "--before", "x"},
        {"purge", "--before", "1s", "--user", "alice"},
        {"summary", "--limit", "1"},
        {"summary", "--csv"},
        {"--host", "b.example", "purge", "--before", "1s"},
    };
    for (auto arguments : wrong) {
        arguments.insert(arguments.begin(), "report");
        EXPECT_EQ(Run(arguments).nStatus, 2) << testing::PrintToString(arguments);
    }
    EXPECT_EQ(Listed({}), "54321");
}

TEST_F(ReportCommand, SumsUp) {
    BlockSome();
    const json summary = json::parse(Run({"report", "summary", "--json", "--since", "2024-11-20 12:00"}).out);
    EXPECT_EQ(summary, json::parse(R"({"total": 4, "lost": 0,
        "reasons": {"block list": 1, "category": 1, "phishing": 1, "harmful": 1},
        "users": {"bob": 2, "alice": 1, "": 1}, "categories": {"Gambling": 1},
        "days": {"2024-11-20": 1, "2024-11-21": 1, "2024-11-22": 2}})"));
    EXPECT_THAT(Run({"report", "summary"}).out, HasSubstr("REASON\nblock list  2  "));
}

TEST_F(ReportCommand, PurgesWhatIsOlder) {
    BlockSome();
    EXPECT_EQ(Run({"report", "purge", "--before", "2024-11-21"}).out,
              "deleted 2 blocked requests from before 2024-11-21 00:00:00\n");
    EXPECT_EQ(Listed({}), "543");
}

TEST_F(ReportCommand, TellsOfLostRecords) {
    ASSERT_EQ(AddLostReports(&m_store, 3), STORE_OK);
    EXPECT_THAT(Run({"report"}).err, HasSubstr("3 records of blocked requests could not be stored"));
    const tagRun run = Run({"report", "--json"});
    EXPECT_EQ(json::parse(run.out), json::array()) << "the document stays whole";
    EXPECT_THAT(run.err, HasSubstr("3 records"));
}

TEST_F(ReportCommand, ReplacesThePageAsAWhole) {
    BlockSome();
    WriteFile("page.html", "old");
    const std::string file = Path("page.html");
    EXPECT_EQ(Run({"report", "--html", file, "--user", "alice"}).nStatus, 0);
    const std::string page = ReadFile("page.html");
    EXPECT_THAT(page, HasSubstr("2 blocked requests"));
    EXPECT_THAT(page, HasSubstr("Only user alice"));
    EXPECT_THAT(page, HasSubstr("b.example/3"));
    EXPECT_THAT(page, testing::EndsWith("</html>\n"));
    struct stat status;
    ASSERT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);

    RunOn(Path("websec.db"), "DROP TABLE reports");
    EXPECT_EQ(Run({"report", "--html", file}).nStatus, 1);
    EXPECT_EQ(ReadFile("page.html"), page);
    for (const auto& entry : std::filesystem::directory_iterator(Path("")))
        EXPECT_THAT(entry.path().string(), testing::Not(HasSubstr("page.html."))) << "left behind";
}

}  // namespace
