#include "ctl/report/html.h"

#include <gmock/gmock.h>

#include "ctl/report/html_text.h"
#include "tests/unit/ctl/report/report_row.h"

namespace {

using testing::HasSubstr;
using testing::Not;

constexpr char HOSTILE[] = "\"'><script>alert(1)</script>&amp;\x1b\u202e";

TEST(HtmlText, IsSafeInTextAndAttributes) {
    EXPECT_EQ(HtmlText(HOSTILE),
              "&quot;&#39;&gt;&lt;script&gt;alert(1)&lt;/script&gt;&amp;amp;\\x1B\\xE2\\x80\\xAE");
    EXPECT_EQ(HtmlText("bücher"), "bücher");
}

std::string Page(const tagReportPage& page, const std::vector<tagReportRow>& rows) {
    std::string text;
    HtmlWriter writer(text, page);
    writer.Begin();
    for (const auto& row : rows)
        writer.Write(row);
    writer.End();
    return text;
}

size_t Occurrences(const std::string& text, std::string_view what) {
    size_t nFound = 0;
    for (size_t n = 0; (n = text.find(what, n)) != std::string::npos; ++n)
        ++nFound;
    return nFound;
}

TEST(ReportHtml, EscapesEveryTextAndLoadsNothing) {
    tagReportPage page = {HOSTILE, HOSTILE, 0, 0, {}};
    page.counts.nTotal = 12345;
    page.counts.nLost = 2;
    page.counts.reasons = {{"block list", 12345}};
    page.counts.users = {{HOSTILE, 12344}, {"", 1}};
    page.counts.categories = {{HOSTILE, 3}};
    page.counts.days = {{"2026-11-21", 12000}, {"2026-11-22", 345}};
    for (const uint32_t nResult : {6u, 8u}) {
        tagReportRow row = RowWith(HOSTILE);
        row.nResult = nResult;
        const std::string text = Page(page, {row});
        // Machine twice, conditions, user and category of the charts, and the three cells.
        EXPECT_EQ(Occurrences(text, "&lt;script&gt;alert(1)"), 8u);
        for (const char* szUnwanted : {"<script", "\x1b", "\u202e", "src=", "href=", "url(", "//", "@import"})
            EXPECT_THAT(text, Not(HasSubstr(szUnwanted)));
        for (const char* szWanted :
             {"12,345 blocked requests", "2 records of blocked requests could not", "2026-11-21: 12,000",
              "height:100.0%", "height:2.9%", "<em>unknown</em>", "All of them"}) {
            EXPECT_THAT(text, HasSubstr(szWanted));
        }
        for (const std::string tag :
             {"section", "div", "dl", "dt", "dd", "tr", "td", "table", "tbody", "main"})
            EXPECT_EQ(Occurrences(text, "<" + tag + ">") + Occurrences(text, "<" + tag + " "),
                      Occurrences(text, "</" + tag + ">"))
                << tag;
    }
}

TEST(ReportHtml, SaysWhatIsMissing) {
    tagReportPage page = {"host", "", 0, 50, {}};
    const std::string empty = Page(page, {});
    EXPECT_THAT(empty, HasSubstr("Nothing was blocked"));
    EXPECT_EQ(Occurrences(empty, "<table") + Occurrences(empty, "</table"), 0u);
    page.counts.nTotal = 5000;
    EXPECT_THAT(Page(page, {}), HasSubstr("The newest 50 of 5,000"));
}

}  // namespace
