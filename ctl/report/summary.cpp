#include "ctl/report/summary.h"

#include <algorithm>
#include <string_view>

#include "ctl/visible_text.h"

namespace {

constexpr size_t DAYS_SHOWN = 31;
constexpr size_t TOP_SHOWN = 10;
constexpr size_t LONGEST_BAR = 40;
constexpr size_t SHORTEST_BAR = 5;

Json CountsDocument(const std::vector<tagReportCount>& counts);
std::string Bars(const char* szTitle, const std::vector<tagReportCount>& counts, const tagTerminal& terminal);
std::string Bar(int64_t nCount, int64_t nLargest, size_t nLongest, bool bUtf8);

}  // namespace

Json SummaryDocument(const tagReportCounts& counts) {
    return {{"total", counts.nTotal},
            {"lost", counts.nLost},
            {"reasons", CountsDocument(counts.reasons)},
            {"users", CountsDocument(counts.users)},
            {"categories", CountsDocument(counts.categories)},
            {"days", CountsDocument(counts.days)}};
}

std::string SummaryText(const tagReportCounts& counts, const tagTerminal& terminal) {
    const tagDaySpan span = EveryDay(counts.days, DAYS_SHOWN);
    std::string text = BlockedRequests(counts.nTotal);
    if (!counts.days.empty()) text += ", " + counts.days.front().key + " to " + counts.days.back().key;
    text += Bars("REASON", counts.reasons, terminal);
    text += Bars("USER", TopCounts(counts.users, TOP_SHOWN), terminal);
    text += Bars("CATEGORY", TopCounts(counts.categories, TOP_SHOWN), terminal);
    text += Bars(span.bLatestOnly ? "LATEST DAYS" : "DAY", span.days, terminal);
    return text;
}

namespace {

Json CountsDocument(const std::vector<tagReportCount>& counts) {
    Json document = Json::object();
    for (const auto& count : counts)
        document[count.key] = count.nCount;
    return document;
}

// A paragraph with a line for each count, of the terminal's width at most; nothing without counts.
std::string Bars(const char* szTitle, const std::vector<tagReportCount>& counts,
                 const tagTerminal& terminal) {
    constexpr size_t GAPS = 4;
    if (counts.empty()) return "";
    const int64_t nLargest = LargestCount(counts);
    const size_t nDigits = std::to_string(nLargest).size();
    const size_t nRoom = terminal.nWidth == 0 ? SIZE_MAX : terminal.nWidth;
    const size_t nMostLabel =
        std::max(nRoom, nDigits + GAPS + 2 * SHORTEST_BAR) - nDigits - GAPS - SHORTEST_BAR;
    std::vector<std::string> labels;
    size_t nLabel = 0;
    for (const auto& count : counts) {
        const std::string label = count.key.empty() ? "(unknown)" : VisibleText(count.key, terminal.bUtf8);
        labels.push_back(FitText(label, nMostLabel, terminal.bUtf8));
        nLabel = std::max(nLabel, DisplayWidth(labels.back()));
    }
    const size_t nUsed = nLabel + nDigits + GAPS;
    const size_t nLongest = std::min(LONGEST_BAR, std::max(nRoom, nUsed + SHORTEST_BAR) - nUsed);
    std::string text = std::string("\n\n") + szTitle;
    for (size_t n = 0; n < counts.size(); ++n) {
        const std::string number = std::to_string(counts[n].nCount);
        const std::string bar = Bar(counts[n].nCount, nLargest, nLongest, terminal.bUtf8);
        text += '\n' + labels[n] + std::string(nLabel - DisplayWidth(labels[n]) + 2, ' ');
        text += std::string(nDigits - number.size(), ' ') + number + (bar.empty() ? "" : "  " + bar);
    }
    return text;
}

// In eighths of a character where there are such; never empty for a count above 0.
std::string Bar(int64_t nCount, int64_t nLargest, size_t nLongest, bool bUtf8) {
    constexpr std::string_view EIGHTHS[] = {"", "▏", "▎", "▍", "▌", "▋", "▊", "▉"};
    if (nCount <= 0) return "";
    const auto nEighths =
        std::max<size_t>(1, static_cast<size_t>(static_cast<double>(nCount) / static_cast<double>(nLargest) *
                                                static_cast<double>(nLongest) * 8));
    if (!bUtf8) return std::string(std::max<size_t>(1, nEighths / 8), '#');
    std::string bar;
    for (size_t n = 0; n < nEighths / 8; ++n)
        bar += "█";
    return bar.append(EIGHTHS[nEighths % 8]);
}

}  // namespace
