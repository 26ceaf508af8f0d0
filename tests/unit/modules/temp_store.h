// A store in a directory of its own, named by WEBSEC_DB while the test runs, and report records to put in.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "common/copy_text.h"
#include "modules/store/store.h"
#include "modules/store/store_reports.h"
#include "report/report_records.h"
#include "tests/unit/common/temp_folder.h"

// Runs statements over a connection of the test's own.
inline void RunOn(const std::string& file, const char* szSql) {
    sqlite3* pDb = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &pDb), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(pDb, szSql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(pDb);
    sqlite3_close(pDb);
}

class TempStoreTest : public testing::Test {
  protected:
    void SetUp() override {
        m_file = m_folder.Path("own/websec.db");
        setenv("WEBSEC_DB", m_file.c_str(), 1);
    }
    void TearDown() override {
        CloseStore(&m_store);
        unsetenv("WEBSEC_DB");
    }
    void CreateStore() { ASSERT_EQ(OpenStore(&m_store, STORE_CREATE, 100), STORE_OK) << m_store.szError; }

    TempFolder m_folder;
    std::string m_file;
    tagStore m_store = {};
};

struct StoredRow {
    std::string time, user, url, host, name, reason, threat;
    uint32_t nResult, nCategory, nType, nParts;
};

// All rows in the order of storing.
inline std::vector<StoredRow> AllRows(tagStore* pStore) {
    std::vector<StoredRow> rows;
    const tagReportFilter filter = {.bOldestFirst = 1};
    const auto keep = [](const tagReportRow* r, void* pRows) {
        static_cast<std::vector<StoredRow>*>(pRows)->push_back(
            {r->szTime, r->szUser, r->szURL, r->szHost, r->szName, r->szReason, r->szThreat, r->nResult,
             r->nCategory, r->nType, r->nParts});
        return 0;
    };
    EXPECT_EQ(ForEachReport(pStore, &filter, keep, &rows), STORE_OK) << pStore->szError;
    return rows;
}

inline ReportRecordBlock BlockRecord(const char* szURL, const char* szTime = "05-Mar-2024 14:07:09") {
    ReportRecordBlock record = {};
    WidenText(record.wszTime, szTime);
    WidenText(record.wszUser, "alice");
    WidenText(record.wszURL, szURL);
    WidenText(record.wszReportText, "In the block list");
    WidenText(record.wszAction, "Blocked");
    record.nResult = 5;
    return record;
}

inline ClientReportRecord ClientRecord(const char* szURL, uint16_t nSecond = 9) {
    ClientReportRecord record = {{2024, 3, 2, 5, 14, 7, nSecond, 0}, {}, {}, 0, {}};
    WidenText(record.wszURL, szURL);
    WidenText(record.wszName, "Custom blocked");
    WidenText(record.wszUser, "alice");
    return record;
}
