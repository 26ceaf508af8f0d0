#include "ctl/report/counts.h"

#include <gtest/gtest.h>

#include "ctl/report/summary.h"
#include "ctl/visible_text.h"

namespace {

std::string Text(const std::vector<tagReportCount>& counts) {
    std::string text;
    for (const auto& count : counts)
        text += count.key + "=" + std::to_string(count.nCount) + " ";
    return text;
}

TEST(ReportCounts, DaysWithoutABlockAreShown) {
    const struct {
        std::vector<tagReportCount> days;
        size_t nMost;
        const char* szExpected;
        bool bLatestOnly;
    } rows[] = {
        {{}, 5, "", false},
        {{{"2026-11-22", 3}}, 5, "2026-11-22=3 ", false},
        {{{"2028-02-28", 1}, {"2028-03-01", 2}}, 5, "2028-02-28=1 2028-02-29=0 2028-03-01=2 ", false},
        {{{"2025-12-31", 1}, {"2026-01-01", 2}}, 5, "2025-12-31=1 2026-01-01=2 ", false},
        {{{"1970-01-01", 9}, {"2026-01-01", 1}, {"2026-01-02", 2}},
         3,
         "2025-12-31=0 2026-01-01=1 2026-01-02=2 ",
         true},
        {{{"no day", 1}}, 5, "", true},
    };
    for (const auto& row : rows) {
        const tagDaySpan span = EveryDay(row.days, row.nMost);
        EXPECT_EQ(Text(span.days), row.szExpected);
        EXPECT_EQ(span.bLatestOnly, row.bLatestOnly) << row.szExpected;
    }
}

TEST(ReportCounts, TheRestIsSummedUp) {
    const std::vector<tagReportCount> counts = {{"a", 5}, {"b", 3}, {"c", 2}, {"d", 1}};
    EXPECT_EQ(Text(TopCounts(counts, 4)), "a=5 b=3 c=2 d=1 ");
    EXPECT_EQ(Text(TopCounts(counts, 2)), "a=5 b=3 others=3 ");
}

TEST(ReportSummary, ScalesItsBarsToTheTerminal) {
    tagReportCounts counts;
    counts.nTotal = 1000;
    counts.users = {{"alice", 800}, {"", 199}, {std::string(90, 'u') + "\x1b[2J", 1}};
    EXPECT_EQ(SummaryText(counts, {30, false}),
              "1000 blocked requests\n\nUSER\n"
              "alice               800  #####\n"
              "(unknown)           199  #\n"
              "uuuuuuuuuuuuuuu...    1  #");
    for (size_t nWidth = 20; nWidth < 200; ++nWidth) {
        const std::string text = SummaryText(counts, {nWidth, true});
        EXPECT_EQ(text.find('\x1b'), std::string::npos);
        for (size_t nStart = text.find("USER"); nStart != std::string::npos;
             nStart = text.find('\n', nStart + 1)) {
            const std::string line = text.substr(nStart + 1, text.find('\n', nStart + 1) - nStart - 1);
            EXPECT_LE(DisplayWidth(line), nWidth) << line;
        }
    }
    EXPECT_EQ(SummaryText({}, {80, true}), "0 blocked requests");
}

}  // namespace
