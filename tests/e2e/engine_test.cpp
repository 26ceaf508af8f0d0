// Phishing, harmful sites and categories with real lists, in all modes of the category engine; and what is
// left of them when the engine, the scanner or the category server fails.
#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "modules/urlmap/list_files.h"
#include "tests/e2e/background.h"
#include "tests/e2e/category_servers.h"
#include "tests/e2e/daemon.h"
#include "tests/e2e/lab.h"
#include "tests/e2e/list_maps.h"
#include "tests/e2e/web_client.h"

namespace {
constexpr int GAMES = 50, WEAPONS = 2, VIOLENCE = 3;  // real ids

void SetMode(int nMode) {
    WriteFile(ProductFile("websec.cfg"),
              "[ServiceConfigurations]\ncatEngine=" + std::to_string(nMode) + "\n");
}

// Of the newest report: reason, URL, category, threat's name.
std::string NewestReport() {
    return Shell("websecctl report --csv --limit 1 | sed 1d | tr -d '\\r' | cut -d, -f5,7,9,10").output;
}

// A request that a report with these words follows, or that passes.
struct tagProbe {
    const char* szReason;
    std::string host, path;
    std::string report;  // reason, category and threat's name; empty: it passes
};

void ExpectFate(const tagProbe& probe) {
    SCOPED_TRACE(probe.szReason + (": " + probe.host) + probe.path);
    const tagReply reply = Get(probe.host, probe.path);
    if (probe.report.empty()) {
        EXPECT_EQ(reply.nStatus, 200);
        return;
    }
    EXPECT_TRUE(reply.bReset) << reply.nStatus;
    const size_t nReason = probe.report.find(',');
    const std::string url = probe.host + (probe.path == "/" ? "" : probe.path);
    const std::string report =
        probe.report.substr(0, nReason) + "," + url + probe.report.substr(nReason) + "\n";
    EXPECT_TRUE(Within(3000, [&] { return NewestReport() == report; })) << NewestReport();
}

void ExpectFates(const std::vector<tagProbe>& probes) {
    for (const tagProbe& probe : probes)
        ExpectFate(probe);
}

const char PHISHING_REPORT[] = "phishing,Phishing,";
const char HARMFUL_REPORT[] = "harmful,Malicious,";
const char GAMES_REPORT[] = "category,Games,";
const char LISTED_REPORT[] = "block list,Custom blocked,";

class EngineTest : public LabTest {
  protected:
    void SetUp() override {
        LabTest::SetUp();
        MustRun("websecctl protection category on");
        MustRun("websecctl category block games");
        WriteThreatList(PHISHING_LIST, {{"phish.example", "Phish.Host"},
                                        {"paths.example/login/", "Phish.Path"},
                                        {"trusted.example", "Phish.Trusted"}});
        WriteThreatList(HARMFUL_LIST, {{"harm.example", "Harm.Host"},
                                       {"paths.example/evil.exe", "Harm.Path"},
                                       {"pattern.example", "Harm.Pattern"}});
        WriteCategoryList({{"games.example", GAMES},
                           {"paths.example/games/", GAMES},
                           {"allowed.example", GAMES},
                           {"weapons.example", WEAPONS},
                           {"violence.example", VIOLENCE}});
    }
    void TearDown() override {
        for (const std::string& module : m_replaced)
            MustRun("cp /run/" + module + " " + ProductFile(module));
        LabTest::TearDown();
    }
    // Puts another file in the place of a module until the test ends.
    void ReplaceModule(const std::string& module, const std::string& with) {
        MustRun("cp " + ProductFile(module) + " /run && cp --remove-destination " + with + " " +
                ProductFile(module));
        m_replaced.push_back(module);
    }

  private:
    std::vector<std::string> m_replaced;
};
}  // namespace

class Engine : public EngineTest {};

class EngineMode : public EngineTest, public testing::WithParamInterface<int> {};

TEST_P(EngineMode, EnforcesTheLists) {
    const bool bServer = GetParam() == 2;
    SetMode(GetParam());
    MustRun("websecctl trust add trusted.example/page && websecctl block add trusted.example/page");
    MustRun("websecctl allow add allowed.example");
    MustRun("echo pattern.example/ | websecctl datafile build trusted " + ProductFile("bpintwl.dat"));
    const std::unique_ptr<Catserver> pServer(bServer ? new Catserver : nullptr);
    tagDaemon daemon = StartDaemon();
    const auto protect = [](const std::string& change) { MustRun("websecctl protection " + change); };

    ExpectFates({
        {"phishing by host", "phish.example", "/x", PHISHING_REPORT},
        {"by the host above", "login.phish.example", "/", PHISHING_REPORT},
        {"by path", "paths.example", "/login/now", PHISHING_REPORT},
        {"harmful by host", "harm.example", "/x", std::string(HARMFUL_REPORT) + "Harm.Host"},
        {"by path", "paths.example", "/evil.exe", std::string(HARMFUL_REPORT) + "Harm.Path"},
        {"beside the paths", "paths.example", "/good.exe", ""},
        {"trusted, though block-listed", "trusted.example", "/page", ""},
        {"beside the trusted page", "trusted.example", "/other", PHISHING_REPORT},
        {"trusted by a pattern", "pattern.example", "/x", ""},
        {"category", "games.example", "/x", GAMES_REPORT},
        {"category by path", "paths.example", "/games/1", GAMES_REPORT},
        {"allowed", "allowed.example", "/x", ""},
        {"in no list", "other.example", "/x", ""},
        // The two numbers that mean the site protections to the library are categories to the server.
        {"category 2", "weapons.example", "/x", bServer ? "category,Weapons," : ""},
        {"category 3", "violence.example", "/x", bServer ? "category,Violence," : ""},
    });
    protect("phishing off");
    ExpectFates({{"phishing protection off", "phish.example", "/1", ""},
                 {"the same, category 3", "violence.example", "/1", ""},
                 {"and trust without a finding", "trusted.example", "/page", LISTED_REPORT},
                 {"the other one stays", "harm.example", "/1", std::string(HARMFUL_REPORT) + "Harm.Host"}});
    protect("phishing on");
    protect("browsing off");
    ExpectFates({{"browsing protection off", "harm.example", "/2", ""},
                 {"the same, category 2", "weapons.example", "/2", ""},
                 {"the other one stays", "phish.example", "/2", PHISHING_REPORT}});
    protect("browsing on");
    protect("category off");
    ExpectFates({{"filter off", "games.example", "/3", ""},
                 {"the same, category 2", "weapons.example", "/3", ""},
                 {"the others stay", "phish.example", "/3", PHISHING_REPORT}});
    EXPECT_EQ(StopDaemon(daemon), 0);
}

INSTANTIATE_TEST_SUITE_P(Modes, EngineMode, testing::Values(0, 1, 2));

// The library knows both kinds of threats as categories of their own, so it stands in for a scanner that is
// of no use; only the threat's name is lost.
TEST_F(Engine, TheLibraryProtectsWithoutTheScanner) {
    ReplaceModule("urlcheck.so", ProductFile("libdbmod.so"));  // which lacks the scanner's functions
    MustRun("websecctl trust add trusted.example/page && websecctl allow add phish.example");
    tagDaemon daemon = StartDaemon();
    ExpectFates({{"phishing, though allowed", "phish.example", "/1", PHISHING_REPORT},
                 {"harmful", "harm.example", "/1", HARMFUL_REPORT},
                 {"trusted", "trusted.example", "/page", ""},
                 {"category", "games.example", "/1", GAMES_REPORT}});
    MustRun("websecctl protection phishing off");
    ExpectFates({{"phishing protection off", "phish.example", "/2", ""},
                 {"the other one stays", "harm.example", "/2", HARMFUL_REPORT}});
    MustRun("websecctl protection phishing on && websecctl protection browsing off");
    ExpectFates({{"browsing protection off", "harm.example", "/3", ""},
                 {"the other one stays", "phish.example", "/3", PHISHING_REPORT}});
    EXPECT_EQ(StopDaemon(daemon), 0);
}

// Browsing goes on: at most two seconds for the one request, and nobody else waits.
TEST_F(Engine, BrowsingOutlivesTheCategoryServer) {
    constexpr int AT_ONCE_MS = 1500, EXCHANGE_MS = 2000;
    SetMode(2);
    tagDaemon daemon = StartDaemon();
    const size_t nDescriptors = DescriptorCount(daemon.pid);
    EXPECT_EQ(Get("games.example", "/stopped").nStatus, 200);
    EXPECT_EQ(Get("other.example", "/stopped").nStatus, 200);
    {
        FeignedCatserver server;
        for (const char* szPath : {"/answered", "/long"})
            ExpectFate({"the first number counts", "any.example", szPath, GAMES_REPORT});
        EXPECT_EQ(Get("any.example", "/refused").nStatus, 200);

        std::atomic<int> nLate = 0, nAnswered = 0;
        std::vector<std::thread> hanging;
        for (int nWorker = 0; nWorker < 3; ++nWorker) {
            hanging.emplace_back([&] {
                const tagReply reply = Get("any.example", "/hang");
                nAnswered += reply.nStatus == 200;
                nLate += reply.nMilliseconds > EXCHANGE_MS + AT_ONCE_MS;
            });
        }
        EXPECT_TRUE(Within(1000, [&] { return server.Hanging() == 3; }));
        for (int nRequest = 0; nRequest < 20; ++nRequest) {
            EXPECT_EQ(Get("any.example", "/refused").nStatus, 200);
            EXPECT_TRUE(Get("any.example", "/answered").bReset);
        }
        EXPECT_EQ(nAnswered, 0) << "the fourth worker went on beside the three";
        for (std::thread& thread : hanging)
            thread.join();
        EXPECT_EQ(nAnswered, 3);
        EXPECT_EQ(nLate, 0);
    }
    EXPECT_EQ(Get("games.example", "/stopped-again").nStatus, 200);
    {
        const Catserver server;
        ExpectFate({"back again", "games.example", "/back", GAMES_REPORT});
    }
    EXPECT_TRUE(Within(5000, [&] { return DescriptorCount(daemon.pid) == nDescriptors; }))
        << DescriptorCount(daemon.pid);
    EXPECT_EQ(StopDaemon(daemon), 0);
}

namespace {
// What the stand-ins were called for since the last time, once it is as expected.
void ExpectCalls(const std::string& expected) {
    const std::string calls = LabFile("engine.calls");
    EXPECT_TRUE(Within(2000, [&] { return ReadFile(calls) == expected; })) << ReadFile(calls);
    WriteFile(calls, "");
}

void PutStatus(const std::string& status) {
    MustRun("echo " + status + " | websecctl datafile build category-status " + ProductFile("wscatsts.dat"));
}
}  // namespace

TEST_F(Engine, StartsRefreshesAndStopsByItsStatus) {
    ReplaceModule("libwebcat.so", ENGINE_RECORDER_FILE);
    const char ON[] = "WCInit ", OFF[] = "WCDeinit ", AGAIN[] = "PerformCacheRefresh ";
    const char RENEWED[] = "PerformCacheRefresh WCDeinit WCInit ", ENDED[] = "PerformCacheRefresh WCDeinit ";
    const struct {
        const char* szReason;
        int nMode;
        const char* szStatus;    // empty: there is no file
        const char* szCommand;   // run before the start
        const char* szCalls[4];  // at the start, a refresh, a reload, the end
    } rows[] = {
        {"no status is on", 0, "", "true", {ON, RENEWED, AGAIN, OFF}},
        {"status 1", 1, "1", "true", {ON, RENEWED, AGAIN, OFF}},
        {"status 0", 0, "0", "true", {"", ENDED, AGAIN, ""}},
        {"status 2", 1, "2", "true", {"", ENDED, AGAIN, ""}},
        {"damaged", 0, "0", "echo x >>", {ON, RENEWED, AGAIN, OFF}},
        {"server mode ends nothing", 2, "1", "true", {ON, RENEWED, AGAIN, ""}},
        {"it does not start",
         0,
         "1",
         "echo WCInit >$LAB_DIR/engine.refusals; true",
         {ON, RENEWED, "PerformCacheRefresh WCInit ", ""}},
        {"no protection is on",
         0,
         "1",
         "for p in phishing browsing category; do websecctl protection $p off; done; true",
         {"WCInit WCDeinit ", ENDED, OFF, ""}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szReason);
        MustRun("rm -f $LAB_DIR/engine.* " + ProductFile("wscatsts.dat"));
        SetMode(row.nMode);
        if (*row.szStatus) PutStatus(row.szStatus);
        MustRun(std::string(row.szCommand) + " " + ProductFile("wscatsts.dat"));
        tagDaemon daemon = StartDaemon();
        ExpectCalls(row.szCalls[0]);
        kill(daemon.pid, SIGUSR2);
        ExpectCalls(row.szCalls[1]);
        kill(daemon.pid, SIGHUP);
        ExpectCalls(row.szCalls[2]);
        EXPECT_EQ(Get("games.example").nStatus, 200) << "browsing goes on whatever the library does";
        EXPECT_EQ(StopDaemon(daemon), 0);
        ExpectCalls(row.szCalls[3]);
    }
}

// A change of the status comes with the next reload.
TEST_F(Engine, FollowsAChangedStatus) {
    ReplaceModule("libwebcat.so", ENGINE_RECORDER_FILE);
    MustRun("rm -f $LAB_DIR/engine.*");
    tagDaemon daemon = StartDaemon();
    ExpectCalls("WCInit ");
    for (const auto& [szStatus, szCalls] : {std::pair("2", "PerformCacheRefresh "),
                                            {"0", "PerformCacheRefresh WCDeinit "},
                                            {"1", "PerformCacheRefresh WCInit "}}) {
        PutStatus(szStatus);
        kill(daemon.pid, SIGHUP);
        ExpectCalls(szCalls);
    }
    EXPECT_EQ(StopDaemon(daemon), 0);
}

// A scanner that refuses to shut down stays in use; the tables beside it are renewed all the same. One that
// does not start is not used.
TEST_F(Engine, StubbornScanners) {
    ReplaceModule("urlcheck.so", ENGINE_RECORDER_FILE);
    MustRun("rm -f $LAB_DIR/engine.*; echo DeinitURLScan >$LAB_DIR/engine.refusals");
    tagDaemon daemon = StartDaemon();
    ExpectFate({"scanned", "phishy.example", "/1", PHISHING_REPORT});
    MustRun("echo excluded.example/phish | websecctl datafile build exclusion " + ProductFile("pcintwl.dat"));
    EXPECT_TRUE(Get("excluded.example", "/phish").bReset);
    ExpectCalls("InitURLScan ");
    kill(daemon.pid, SIGUSR2);
    EXPECT_TRUE(Within(2000, [] { return Get("excluded.example", "/phish").nStatus == 200; }));
    ExpectFate({"the old one goes on", "phishy.example", "/2", PHISHING_REPORT});
    ExpectCalls("DeinitURLScan ");

    WriteFile(LabFile("engine.refusals"), "InitURLScan");
    kill(daemon.pid, SIGUSR2);
    ExpectCalls("DeinitURLScan InitURLScan ");
    EXPECT_EQ(Get("phishy.example", "/3").nStatus, 200);
    ExpectFate({"the category engine goes on", "games.example", "/3", GAMES_REPORT});
    EXPECT_EQ(StopDaemon(daemon), 0);
    ExpectCalls("");
}

// New lists come in under traffic, by a rename and a signal: no request fails, and none slips through.
TEST_F(Engine, AnImportUnderTraffic) {
    tagDaemon daemon = StartDaemon();
    std::atomic<int> nPassed = 0, nBlocked = 0, nWrong = 0;
    {
        Background passing(3, 2, [&] {
            return [&, pClient = std::make_shared<WebClient>()] {
                ++(pClient->Get("other.example", "/import").nStatus == 200 ? nPassed : nWrong);
            };
        });
        Background blocked(
            1, 2, [&] { return [&] { ++(Get("phish.example", "/import").bReset ? nBlocked : nWrong); }; });
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(2);
        for (int nRound = 0; std::chrono::steady_clock::now() < end; ++nRound) {
            const bool bListed = nRound % 2 == 0;
            WriteThreatList(PHISHING_LIST,
                            {{"phish.example", "Phish.Host"},
                             {bListed ? "toggled.example" : "spare.example", "Phish.Toggled"}});
            kill(daemon.pid, SIGUSR2);
            EXPECT_TRUE(Within(2000, [&] { return Get("toggled.example").bReset == bListed; })) << nRound;
        }
    }
    EXPECT_EQ(nWrong, 0);
    EXPECT_GT(nPassed, 50);
    EXPECT_GT(nBlocked, 10);

    MustRun(std::string("truncate -s -1 ") + LISTS_DIR + "/" + PHISHING_LIST);
    kill(daemon.pid, SIGUSR2);
    EXPECT_TRUE(Within(2000, [] { return Get("phish.example").nStatus == 200; }))
        << "a damaged list is empty";
    ExpectFate({"the other lists stay", "harm.example", "/x", std::string(HARMFUL_REPORT) + "Harm.Host"});
    EXPECT_EQ(StopDaemon(daemon), 0);
}
