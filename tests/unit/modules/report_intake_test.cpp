#include "modules/store/report_intake.h"

#include <gmock/gmock.h>

#include <ctime>

#include "tests/unit/modules/temp_store.h"

namespace {
class ReportIntakeTest : public TempStoreTest {
  protected:
    void SetUp() override {
        TempStoreTest::SetUp();
        CreateStore();
    }
    template <class T>
    void Put(int nType, const T& record, int64_t nArrived = 1000) {
        ASSERT_EQ(StoreReport(&m_store, nType, &record, nArrived), STORE_OK) << m_store.szError;
    }
    int64_t CountTimes(int64_t nFrom, int64_t nUntil) {
        int64_t nRows = 0;
        const tagReportFilter filter = {.nFrom = nFrom, .nUntil = nUntil};
        const auto count = [](const tagReportRow*, void* p) { return ++*static_cast<int64_t*>(p), 0; };
        EXPECT_EQ(ForEachReport(&m_store, &filter, count, &nRows), STORE_OK);
        return nRows;
    }
};

TEST_F(ReportIntakeTest, EachTypeFillsItsColumns) {
    ReportRecordBlock category = BlockRecord("Games.Example:8080/x");
    WidenText(category.wszCategoryName, "Games");
    category.nCategory = 50;
    category.nResult = 6;
    ReportRecordHarmful harmful = {};
    WidenText(harmful.threat.wszURL, "bad.example");
    WidenText(harmful.threat.wszTime, "29-Feb-2024 00:00:00");
    WidenText(harmful.wszThreatName, "Trojan.X");
    ReportRecordThreat phishing = {};
    WidenText(phishing.wszURL, "phish.example");
    Put(REPORT_BLOCK, category);
    Put(REPORT_HARMFUL, harmful);
    Put(REPORT_PHISHING, phishing);
    ClientReportRecord client = ClientRecord("other.example");
    client.nCategory = 50;
    Put(REPORT_CLIENT, client);
    EXPECT_EQ(StoreReport(&m_store, 2, &client, 0), STORE_BAD_VALUE);

    const auto rows = AllRows(&m_store);
    ASSERT_EQ(rows.size(), 4u);
    EXPECT_EQ(rows[0].host, "games.example");
    EXPECT_EQ(rows[0].name, "Games");
    EXPECT_EQ(rows[0].nCategory, 50u);
    EXPECT_EQ(rows[1].threat, "Trojan.X");
    EXPECT_EQ(rows[1].nResult, 8u);
    EXPECT_EQ(rows[1].nType, 5u);
    EXPECT_EQ(rows[2].nResult, 7u);
    EXPECT_EQ(rows[2].nCategory, 3u);
    EXPECT_EQ(rows[3].nResult, 6u);
    EXPECT_EQ(rows[3].time, "05-Mar-2024 14:07:09");
    EXPECT_EQ(rows[3].nType, 0u);

    struct tm march = {};
    strptime("2024-03-05 14:07:09", "%Y-%m-%d %H:%M:%S", &march);
    march.tm_isdst = -1;
    const int64_t nMarch = std::mktime(&march);
    EXPECT_EQ(CountTimes(nMarch, nMarch + 1), 2) << "the typed record's text and the client record's numbers";
    EXPECT_EQ(CountTimes(1000, 1001), 1) << "without a time of its own: when it was handed over";
}

TEST_F(ReportIntakeTest, TheTwoRecordsOfABlockMakeOneRow) {
    Put(REPORT_BLOCK, BlockRecord("typed.first"));
    Put(REPORT_CLIENT, ClientRecord("typed.first"));
    Put(REPORT_CLIENT, ClientRecord("client.first"));
    Put(REPORT_BLOCK, BlockRecord("client.first", "05-Mar-2024 14:07:10"));
    const auto rows = AllRows(&m_store);
    ASSERT_EQ(rows.size(), 2u);
    for (const StoredRow& row : rows) {
        EXPECT_EQ(row.nParts, REPORT_PARTS_ALL);
        EXPECT_EQ(row.name, "Custom blocked");
        EXPECT_EQ(row.reason, "In the block list");
        EXPECT_EQ(row.nResult, 5u);
        EXPECT_EQ(row.time, "05-Mar-2024 14:07:09");
    }
}

TEST_F(ReportIntakeTest, BlocksThatOnlyLookAlikeStayApart) {
    // Three blocks of one URL, two of them in the same second, stored by the one module before the other.
    for (const char* szTime : {"05-Mar-2024 14:07:09", "05-Mar-2024 14:07:09", "05-Mar-2024 14:07:10"}) {
        Put(REPORT_BLOCK, BlockRecord("a.example", szTime));
    }
    for (const uint16_t nSecond : {10, 9, 9})
        Put(REPORT_CLIENT, ClientRecord("a.example", nSecond));
    Put(REPORT_CLIENT, ClientRecord("a.example", 12));
    ClientReportRecord other = ClientRecord("a.example");
    WidenText(other.wszUser, "bob");
    Put(REPORT_CLIENT, other);
    std::vector<uint32_t> parts;
    for (const StoredRow& row : AllRows(&m_store))
        parts.push_back(row.nParts);
    EXPECT_THAT(parts, testing::ElementsAre(3, 3, 3, REPORT_PART_CLIENT, REPORT_PART_CLIENT));
}

TEST_F(ReportIntakeTest, KeepsTheNewestRowsWithinBothBounds) {
    ASSERT_EQ(BeginStoreChange(&m_store), STORE_OK);
    for (int n = 0; n < 1000; ++n)
        Put(REPORT_BLOCK, BlockRecord(("a.example/" + std::to_string(n)).c_str()));
    EXPECT_EQ(TrimReports(&m_store, 500, 1 << 30), STORE_OK) << m_store.szError;
    EXPECT_EQ(AllRows(&m_store).size(), 500u);
    EXPECT_EQ(TrimReports(&m_store, 500, 4096), STORE_OK) << m_store.szError;
    const auto rows = AllRows(&m_store);
    EXPECT_EQ(rows.size(), 450u);
    EXPECT_EQ(rows.back().url, "a.example/999");
}
}  // namespace
