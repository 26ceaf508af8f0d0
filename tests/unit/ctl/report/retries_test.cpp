// Rows of one user, host and reason within ten seconds become one.
#include "ctl/report/retries.h"

#include <gtest/gtest.h>

#include <string>

#include "ctl/report/reason.h"
#include "tests/unit/ctl/report/report_row.h"

namespace {

tagReportRow Row(int64_t nTime, const char* szUser, const char* szHost, uint32_t nResult) {
    tagReportRow row = RowWith("");
    row.nTime = nTime, row.szUser = szUser, row.szHost = szHost, row.nResult = nResult;
    return row;
}

// "TIME HOST xCOUNT;" of what comes out; each row's texts are gone after its turn, as in the store.
std::string Merged(const std::vector<tagReportRow>& rows, int64_t nLimit) {
    std::string out;
    const auto handle = [&](const tagReportRow& row) {
        out += std::to_string(row.nTime) + " " + row.szHost + " x" + std::to_string(row.nTimes) + ";";
        return true;
    };
    RetryMerger merger(handle, nLimit);
    for (const tagReportRow& row : rows) {
        std::string host = row.szHost;
        tagReportRow passing = row;
        passing.szHost = host.c_str();
        const bool bMore = merger.Take(passing);
        host.assign(host.size(), '#');
        if (!bMore) break;
    }
    merger.Finish();
    return out;
}

TEST(Retries, MergesWhatIsAlikeAndNear) {
    const std::vector<tagReportRow> rows = {
        Row(100, "a", "x", 4), Row(99, "a", "y", 4), Row(99, "a", "x", 8),
        Row(95, "b", "x", 4),  Row(92, "a", "x", 5),  // the block list has two results
        Row(90, "a", "x", 4),                         // ten seconds: still the same
        Row(89, "a", "x", 4),                         // eleven: a new row, although one second from the last
        Row(88, "a", "y", 4),
    };
    EXPECT_EQ(Merged(rows, 0), "100 x x3;99 y x1;99 x x1;95 x x1;89 x x1;88 y x1;");
    EXPECT_EQ(Merged(rows, 2), "100 x x3;99 y x1;") << "the limit is one of merged rows";
    EXPECT_EQ(Merged({}, 0), "");

    tagReportRow row = Row(1, "a", "x", 4);
    EXPECT_EQ(ReasonText(row), "block list");
    row.nTimes = 3;
    EXPECT_EQ(ReasonText(row), "block list (3 times)");
}

}  // namespace
