#include "ctl/report/table.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>

#include "ctl/visible_text.h"
#include "tests/unit/ctl/report/report_row.h"

namespace {

tagReportRow Row(const char* szUser, const char* szURL, uint32_t nResult, const char* szName = "") {
    tagReportRow row = RowWith("");
    row.nTime = 1'795'352'400;
    row.szUser = szUser, row.szURL = szURL, row.nResult = nResult, row.szName = szName;
    return row;
}

std::vector<std::string> Lines(const tagTerminal& terminal, const std::vector<tagReportRow>& measured,
                               const std::vector<tagReportRow>& rows) {
    std::stringstream out;
    TableWriter writer(out, terminal);
    for (const auto& row : measured)
        writer.Measure(row);
    writer.Begin();
    for (const auto& row : rows)
        writer.Write(row);
    writer.End();
    std::vector<std::string> lines;
    for (std::string line; std::getline(out, line);)
        lines.push_back(line);
    return lines;
}

const std::string LONG_URL = "日本語.example/bücher/" + std::string(300, 'x') + "\x1b[2J";

std::vector<tagReportRow> SomeRows() {
    return {Row("alice", "a.example/", 4), Row("Jürgen", LONG_URL.c_str(), 6, "日本語日本語日本語"),
            Row("", "", 7), Row("a-service-with-a-very-long-name", "\x1b]0;t\x07", 8)};
}

TEST(ReportTable, FitsEveryTerminal) {
    for (const bool bUtf8 : {true, false}) {
        for (size_t nWidth = 38; nWidth < 500; ++nWidth) {
            for (const auto& measured : {SomeRows(), {}}) {
                const auto lines = Lines({nWidth, bUtf8}, measured, SomeRows());
                ASSERT_EQ(lines.size(), 5u);
                for (const auto& line : lines) {
                    EXPECT_LE(DisplayWidth(line), nWidth) << line;
                    EXPECT_EQ(VisibleText(line, bUtf8), line) << "something does not show";
                }
            }
        }
    }
}

TEST(ReportTable, LinesItsColumnsUp) {
    const auto lines = Lines({80, true}, SomeRows(), SomeRows());
    const size_t nURL = DisplayWidth(lines[0].substr(0, lines[0].find("URL")));
    EXPECT_EQ(DisplayWidth(lines[1].substr(0, lines[1].find("a.example"))), nURL);
    EXPECT_EQ(DisplayWidth(lines[2].substr(0, lines[2].find("日本語.ex"))), nURL) << lines[2];
    EXPECT_THAT(lines[2], testing::EndsWith("…"));
    EXPECT_EQ(DisplayWidth(lines[2]), 80u) << "room is left unused";
    EXPECT_THAT(lines[3], testing::EndsWith("phishing"));
}

TEST(ReportTable, CutsNothingWithoutATerminal) {
    const auto rows = SomeRows();
    const auto lines = Lines({0, true}, {}, rows);
    EXPECT_THAT(lines[2], testing::EndsWith(std::string(300, 'x') + "\\x1B[2J"));
    EXPECT_THAT(lines[4], testing::HasSubstr(" a-service-with-a-very-long-name "));
}

TEST(ReportTable, SaysThatNothingWasBlocked) {
    EXPECT_EQ(Lines({80, true}, {}, {}), std::vector<std::string>{"no blocked requests"});
}

}  // namespace
