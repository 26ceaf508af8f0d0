// What a block leaves in the store, and what becomes of settings and reports when the store or its module
// fails.
#include <gmock/gmock.h>
#include <signal.h>
#include <sqlite3.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "modules/store/store_reports.h"
#include "tests/e2e/daemon.h"
#include "tests/e2e/lab.h"
#include "tests/e2e/web_client.h"

using testing::HasSubstr;

namespace {
struct tagRow {
    int64_t nTime;
    std::string user, url, reason;
    uint32_t nResult, nParts;
};

int KeepRow(const tagReportRow* pRow, void* pRows) {
    static_cast<std::vector<tagRow>*>(pRows)->push_back(
        {pRow->nTime, pRow->szUser, pRow->szURL, pRow->szReason, pRow->nResult, pRow->nParts});
    return 0;
}

// Newest first.
std::vector<tagRow> Rows() {
    std::vector<tagRow> rows;
    tagStore store;
    const tagReportFilter all;
    if (OpenStore(&store, STORE_OPEN_EXISTING, STORE_BUSY_MS_SETTINGS) == STORE_OK)
        (void)ForEachReport(&store, &all, KeepRow, &rows);
    CloseStore(&store);
    return rows;
}

// Rows of which both records have come.
size_t CountWhole() {
    size_t nWhole = 0;
    for (const tagRow& row : Rows())
        nWhole += row.nParts == REPORT_PARTS_ALL;
    return nWhole;
}

void Sql(const std::string& statement) {
    sqlite3* pDb = nullptr;
    EXPECT_EQ(sqlite3_open(STORE_FILE, &pDb), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(pDb, statement.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(pDb);
    sqlite3_close(pDb);
}
}  // namespace

class Reports : public LabTest {
  protected:
    void SetUp() override {
        LabTest::SetUp();
        MustRun("websecctl block add blocked.example");
    }
};

TEST_F(Reports, OneRowForEachBlock) {
    tagDaemon daemon = StartDaemon();
    const struct {
        const char* szReason;
        std::string asUser, url;
        std::string user, reported;
    } rows[] = {
        {"root", "", "http://blocked.example/by/root", "root", "blocked.example/by/root"},
        {"another user", "setpriv --reuid nobody --clear-groups", "http://blocked.example/by/nobody?q=1",
         "nobody", "blocked.example/by/nobody?q=1"},
        {"a uid without a name, nobody logged in", "setpriv --reuid 54321 --clear-groups",
         "http://blocked.example/by/no-name", "", "blocked.example/by/no-name"},
        {"TLS", "setpriv --reuid nobody --clear-groups", "https://blocked.example/", "nobody",
         "blocked.example"},
    };
    size_t nRows = 0;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szReason);
        const time_t before = time(nullptr);
        EXPECT_NE(Shell(row.asUser + " curl -sk -m 3 " + row.url).nStatus, 0);
        ++nRows;
        ASSERT_TRUE(Within(3000, [&] { return CountWhole() >= nRows; }));
        ASSERT_EQ(Rows().size(), nRows);
        const tagRow seen = Rows().front();
        EXPECT_EQ(seen.user, row.user);
        EXPECT_EQ(seen.url, row.reported);
        EXPECT_EQ(seen.nResult, 4u);
        EXPECT_FALSE(seen.reason.empty());
        EXPECT_GE(seen.nTime, before);
        EXPECT_LE(seen.nTime, time(nullptr));
    }
    MustRun("websecctl protection report off");
    EXPECT_TRUE(Get("blocked.example", "/unreported").bReset);
    MustRun("websecctl protection report on");
    EXPECT_TRUE(Get("blocked.example", "/reported").bReset);
    ASSERT_TRUE(Within(3000, [&] { return CountWhole() == nRows + 1; }));
    EXPECT_THAT(Rows().front().url, HasSubstr("/reported"));
    EXPECT_EQ(StopDaemon(daemon), 0);
}

// An orderly stop writes what waits. A killed daemon loses no more than that, and the store stays sound.
TEST_F(Reports, WhatIsWrittenOutlivesTheDaemon) {
    constexpr size_t BLOCKS = 50;
    tagDaemon daemon = StartDaemon();
    for (size_t nBlock = 0; nBlock < BLOCKS; ++nBlock)
        EXPECT_TRUE(Get("blocked.example").bReset);
    EXPECT_EQ(StopDaemon(daemon), 0);
    EXPECT_EQ(CountWhole(), BLOCKS);

    daemon = StartDaemon();
    EXPECT_TRUE(Get("blocked.example", "/written").bReset);
    ASSERT_TRUE(Within(3000, [&] { return CountWhole() == BLOCKS + 1; }));
    for (size_t nBlock = 0; nBlock < BLOCKS; ++nBlock)
        EXPECT_TRUE(Get("blocked.example").bReset);
    kill(daemon.pid, SIGKILL);
    EXPECT_EQ(AwaitEnd(daemon), 128 + SIGKILL);
    EXPECT_GE(CountWhole(), BLOCKS + 1);
    EXPECT_LE(Rows().size(), 2 * BLOCKS + 1);

    // The next one takes the rules over that were left.
    daemon = StartDaemon();
    EXPECT_TRUE(Get("blocked.example").bReset);
    EXPECT_EQ(StopDaemon(daemon), 0);
}

TEST_F(Reports, WithoutTheModuleNothingIsBlocked) {
    const std::string module = ProductFile("libdbmod.so");
    MustRun("mv " + module + " " + module + ".away");
    tagDaemon daemon = StartDaemon();
    EXPECT_EQ(Get("blocked.example").nStatus, 200);
    kill(daemon.pid, SIGHUP);
    EXPECT_EQ(Get("blocked.example").nStatus, 200);
    EXPECT_EQ(StopDaemon(daemon), 0);
    MustRun("mv " + module + ".away " + module);
}

// websecctl says that it would be of no use; whoever signals the daemon all the same does no harm.
void ReloadInVain() {
    EXPECT_EQ(Shell("websecctl reload").nStatus, 1);
    MustRun("pkill -HUP -x websec; sleep 0.2");
}

// The settings in force stay in force.
TEST_F(Reports, AReloadThatCannotReadTheStore) {
    tagDaemon daemon = StartDaemon();
    const std::string db = STORE_FILE;
    const std::string rubbish = "rm -f " + db + "*; head -c 20000 /dev/urandom >" + db;
    MustRun("sqlite=" + db + "; cp $sqlite /run/sound.db");
    const struct {
        const char* szReason;
        std::string damage;
    } rows[] = {
        {"missing", "rm -f " + db + "*"},
        {"empty", "rm -f " + db + "*; : >" + db},
        {"rubbish", rubbish},
        {"cut", "truncate -s 5000 " + db},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szReason);
        MustRun("rm -f " + db + "*; cp /run/sound.db " + db);
        MustRun(row.damage);
        ReloadInVain();
        EXPECT_TRUE(Get("blocked.example").bReset);
        EXPECT_EQ(Get("allowed.example").nStatus, 200);
    }

    MustRun("rm -f " + db + "*; cp /run/sound.db " + db);
    Sql("PRAGMA user_version = 99");
    ReloadInVain();
    EXPECT_TRUE(Get("blocked.example").bReset) << "of a newer version";

    MustRun("rm -f " + db + "*; cp /run/sound.db " + db);
    sqlite3* pDb = nullptr;
    ASSERT_EQ(sqlite3_open(STORE_FILE, &pDb), SQLITE_OK);
    ASSERT_EQ(
        sqlite3_exec(pDb, "PRAGMA locking_mode = EXCLUSIVE; BEGIN EXCLUSIVE; DELETE FROM sqlite_sequence;",
                     nullptr, nullptr, nullptr),
        SQLITE_OK)
        << sqlite3_errmsg(pDb);
    ReloadInVain();
    EXPECT_TRUE(Get("blocked.example").bReset) << "locked";
    sqlite3_close(pDb);
    EXPECT_EQ(StopDaemon(daemon), 0);
}
