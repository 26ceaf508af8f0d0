// The category engine as the daemon starts, refreshes and stops it, and lists that change under traffic. What
// the lists block in each mode is seen in scripts/demo.
#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "tests/e2e/background.h"
#include "tests/e2e/daemon.h"
#include "tests/e2e/lab.h"
#include "tests/e2e/web_client.h"
#include "tests/support/list_maps.h"

class Engine : public LabTest {
  protected:
    void SetUp() override {
        LabTest::SetUp();
        MustRun("websecctl protection category on && websecctl category block games");
        WriteThreatList(PHISHING_LIST, {{"phish.example", "Phish.Host"}});
        WriteThreatList(HARMFUL_LIST, {{"harm.example", "Harm.Host"}});
        WriteCategoryList({{"games.example", 50}});
    }
};

namespace {
// What the stand-ins were called for since the last time, once it is as expected.
void ExpectCalls(const std::string& expected) {
    const std::string calls = LabFile("engine.calls");
    EXPECT_TRUE(Within(2000, [&] { return ReadFile(calls) == expected; })) << ReadFile(calls);
    WriteFile(calls, "");
}

}  // namespace

TEST_F(Engine, StartsRefreshesAndStopsByItsStatus) {
    const std::string library = ProductFile("libwebcat.so");
    MustRun("cp " + library + " /run && cp --remove-destination " ENGINE_RECORDER_FILE " " + library);
    const char ON[] = "WCInit ", OFF[] = "WCDeinit ", AGAIN[] = "PerformCacheRefresh ";
    const char RENEWED[] = "PerformCacheRefresh WCDeinit WCInit ", ENDED[] = "PerformCacheRefresh WCDeinit ";
    const char REFUSED[] = "PerformCacheRefresh WCInit ";
    const char REFUSE[] = "echo WCInit >$LAB_DIR/engine.refusals; true";
    const char ALL_OFF[] = "for p in phishing browsing category; do websecctl protection $p off; done; true";
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
        {"server mode ends nothing", 2, "1", "true", {ON, RENEWED, AGAIN, ""}},
        {"it does not start", 0, "1", REFUSE, {ON, RENEWED, REFUSED, ""}},
        {"no protection is on", 0, "1", ALL_OFF, {"WCInit WCDeinit ", ENDED, OFF, ""}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szReason);
        MustRun("rm -f $LAB_DIR/engine.* " + ProductFile("wscatsts.dat"));
        WriteFile(ProductFile("websec.cfg"),
                  "[ServiceConfigurations]\ncatEngine=" + std::to_string(row.nMode) + "\n");
        if (*row.szStatus)
            MustRun(std::string("echo ") + row.szStatus + " | websecctl datafile build category-status " +
                    ProductFile("wscatsts.dat"));
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
    MustRun("cp /run/libwebcat.so " + library);
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
    EXPECT_TRUE(Get("harm.example").bReset) << "the other lists stay";
}
