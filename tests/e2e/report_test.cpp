// What becomes of reports and settings when the daemon or the store fails. What a report tells is seen in
// scripts/demo.
#include <gtest/gtest.h>
#include <signal.h>

#include <string>

#include "modules/store/store_reports.h"
#include "tests/e2e/daemon.h"
#include "tests/e2e/lab.h"
#include "tests/e2e/web_client.h"

namespace {
// Rows in the store, and those of which both records have come.
struct tagRowCount {
    size_t nAll = 0, nWhole = 0;
};

tagRowCount CountRows() {
    tagRowCount rows;
    tagStore store;
    const auto count = [](const tagReportRow* pRow, void* pRows) {
        auto& counted = *static_cast<tagRowCount*>(pRows);
        ++counted.nAll;
        counted.nWhole += pRow->nParts == REPORT_PARTS_ALL;
        return 0;
    };
    if (OpenStore(&store, STORE_OPEN_EXISTING, STORE_BUSY_MS_SETTINGS) == STORE_OK) {
        const tagReportFilter all;
        (void)ForEachReport(&store, &all, count, &rows);
    }
    CloseStore(&store);
    return rows;
}
}  // namespace

class Reports : public LabTest {
  protected:
    void SetUp() override {
        LabTest::SetUp();
        MustRun("websecctl block add blocked.example");
    }
};

// An orderly stop writes what waits. A killed daemon loses no more than that, and the store stays sound.
TEST_F(Reports, WhatIsWrittenOutlivesTheDaemon) {
    constexpr size_t BLOCKS = 50;
    tagDaemon daemon = StartDaemon();
    for (size_t nBlock = 0; nBlock < BLOCKS; ++nBlock)
        EXPECT_TRUE(Get("blocked.example").bReset);
    EXPECT_EQ(StopDaemon(daemon), 0);
    EXPECT_EQ(CountRows().nWhole, BLOCKS);

    daemon = StartDaemon();
    EXPECT_TRUE(Get("blocked.example", "/written").bReset);
    ASSERT_TRUE(Within(3000, [&] { return CountRows().nWhole == BLOCKS + 1; }));
    for (size_t nBlock = 0; nBlock < BLOCKS; ++nBlock)
        EXPECT_TRUE(Get("blocked.example").bReset);
    kill(daemon.pid, SIGKILL);
    EXPECT_EQ(AwaitEnd(daemon), 128 + SIGKILL);
    EXPECT_GE(CountRows().nWhole, BLOCKS + 1);
    EXPECT_LE(CountRows().nAll, 2 * BLOCKS + 1);

    // The next one takes the rules over that were left.
    daemon = StartDaemon();
    EXPECT_TRUE(Get("blocked.example").bReset);
}
