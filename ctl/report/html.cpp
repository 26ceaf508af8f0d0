#include "ctl/report/html.h"

#include <algorithm>
#include <cstdio>

#include "ctl/report/html_style.h"
#include "ctl/report/html_text.h"
#include "ctl/report/reason.h"
#include "ctl/time_argument.h"

namespace {

constexpr size_t DAYS_SHOWN = 60;
constexpr size_t TOP_SHOWN = 8;

std::string Head(const tagReportPage& page);
std::string Warnings(const tagReportCounts& counts);
std::string DayChart(const tagReportCounts& counts);
std::string BarChart(const char* szTitle, const std::vector<tagReportCount>& counts);
std::string TableStart(const tagReportPage& page);
std::string Cell(const char* szClass, std::string_view text);
std::string Share(int64_t nCount, int64_t nWhole);
std::string Grouped(int64_t nCount);

}  // namespace

void HtmlWriter::Begin() {
    const tagReportCounts& counts = m_page.counts;
    m_text += Head(m_page) + Warnings(counts);
    if (counts.nTotal > 0) {
        m_text += DayChart(counts) + "<div class=\"cards\">\n" + BarChart("By reason", counts.reasons) +
                  BarChart("By user", counts.users) + BarChart("By category", counts.categories) + "</div>\n";
    }
    m_text += TableStart(m_page);
}

void HtmlWriter::Write(const tagReportRow& row) {
    m_text += "<tr>" + Cell("time", LocalTimeText(row.nTime)) + Cell("user", row.szUser) +
              Cell("reason", ReasonText(row)) + Cell("url", row.szURL) + "</tr>\n";
}

void HtmlWriter::End() {
    m_text += m_page.counts.nTotal > 0 ? "</tbody></table></section>\n</main></body></html>\n"
                                       : "</section>\n</main></body></html>\n";
}

namespace {

// The policy in the head holds even if a text slipped through: nothing is loaded, nothing runs.
std::string Head(const tagReportPage& page) {
    const std::string machine = HtmlText(page.machine);
    std::string conditions = HtmlText(page.conditions);
    if (!conditions.empty()) conditions = "<p>Only " + conditions + "</p>\n";
    return "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
           "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src "
           "'unsafe-inline'\">\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
           "<meta name=\"referrer\" content=\"no-referrer\">\n"
           "<title>Blocked requests on " +
           machine + "</title>\n<style>" + REPORT_PAGE_STYLE + "</style></head>\n<body><main>\n<header><h1>" +
           Grouped(page.counts.nTotal) +
           (page.counts.nTotal == 1 ? " blocked request" : " blocked requests") +
           "</h1>\n<p class=\"faint\">on " + machine + ", as of " + LocalTimeText(page.nMadeAt) + "</p>\n" +
           conditions + "</header>\n";
}

std::string Warnings(const tagReportCounts& counts) {
    if (counts.nLost == 0) return "";
    return "<p class=\"card warning\">" + HtmlText(LostRecords(counts.nLost)) + "</p>\n";
}

std::string DayChart(const tagReportCounts& counts) {
    const auto [days, bLatestOnly] = EveryDay(counts.days, DAYS_SHOWN);
    if (days.empty()) return "";
    const int64_t nLargest = LargestCount(days);
    std::string text = std::string("<section class=\"card\"><h2>") +
                       (bLatestOnly ? "Latest days" : "By day") + "</h2>\n<p class=\"faint\">at most " +
                       Grouped(nLargest) +
                       " a day</p>\n<div class=\"days\" role=\"img\" aria-label=\"Bars for " +
                       std::to_string(days.size()) + " days\">\n";
    for (const auto& day : days) {
        text += "<div title=\"" + day.key + ": " + Grouped(day.nCount) +
                "\"><i style=\"height:" + Share(day.nCount, nLargest) + "\"></i></div>\n";
    }
    text += "</div>\n<div class=\"ends faint number\"><span>" + days.front().key + "</span>";
    if (days.size() > 1) text += "<span>" + days.back().key + "</span>";
    return text + "</div></section>\n";
}

std::string BarChart(const char* szTitle, const std::vector<tagReportCount>& counts) {
    if (counts.empty()) return "";
    const auto shown = TopCounts(counts, TOP_SHOWN);
    std::string text = std::string("<section class=\"card\"><h2>") + szTitle + "</h2>\n<dl class=\"bars\">\n";
    for (size_t n = 0; n < shown.size(); ++n) {
        const auto& count = shown[n];
        text += "<dt>" + (count.key.empty() ? "<em>unknown</em>" : HtmlText(count.key)) + "</dt><dd" +
                (n == TOP_SHOWN ? " class=\"rest\"" : "") +
                "><i style=\"width:" + Share(count.nCount, LargestCount(shown)) +
                "\"></i></dd><dd class=\"number\">" + Grouped(count.nCount) + "</dd>\n";
    }
    return text + "</dl></section>\n";
}

std::string TableStart(const tagReportPage& page) {
    const int64_t nTotal = page.counts.nTotal;
    if (nTotal == 0) return "<section class=\"card\"><p>Nothing was blocked.</p>\n";
    const bool bCut = page.nLimit != 0 && page.nLimit < nTotal;
    const std::string title =
        bCut ? "The newest " + Grouped(page.nLimit) + " of " + Grouped(nTotal) : "All of them, newest first";
    return "<section class=\"card rows\"><h2>" + title +
           "</h2>\n<table><thead><tr><th>Time</th><th>User</th><th>Reason</th><th>URL</th></tr></thead>\n"
           "<tbody>\n";
}

std::string Cell(const char* szClass, std::string_view text) {
    return std::string("<td class=\"") + szClass + "\">" + HtmlText(text) + "</td>";
}

// As a percentage for a style; never so little that nothing shows.
std::string Share(int64_t nCount, int64_t nWhole) {
    if (nCount <= 0) return "0";
    char szText[16];
    std::snprintf(szText, sizeof szText, "%.1f%%",
                  std::max(1.0, 100.0 * static_cast<double>(nCount) / static_cast<double>(nWhole)));
    return szText;
}

// "12,345"
std::string Grouped(int64_t nCount) {
    std::string digits = std::to_string(nCount);
    for (size_t n = digits.size(); n > 3; n -= 3)
        digits.insert(n - 3, 1, ',');
    return digits;
}

}  // namespace
