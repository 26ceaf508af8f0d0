#include "ctl/report/counts.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>

#include "ctl/output.h"
#include "ctl/report/reason.h"

namespace {

void AddReason(std::vector<tagReportCount>& reasons, const tagReportCount& result);
std::optional<std::chrono::sys_days> ReadDay(const std::string& text);
std::string DayText(std::chrono::sys_days day);

}  // namespace

tagReportCounts CountBlocked(ReportStore& store, tagReportFilter filter) {
    filter.nLimit = 0;
    tagReportCounts counts;
    for (const auto& result : store.Count(filter, COUNT_BY_RESULT)) {
        counts.nTotal += result.nCount;
        AddReason(counts.reasons, result);
    }
    std::ranges::stable_sort(counts.reasons, std::greater(), &tagReportCount::nCount);
    counts.users = store.Count(filter, COUNT_BY_USER);
    counts.categories = store.Count(filter, COUNT_BY_CATEGORY);
    counts.days = store.Count(filter, COUNT_BY_DAY);
    counts.nLost = store.Lost();
    return counts;
}

std::vector<tagReportCount> TopCounts(std::vector<tagReportCount> counts, size_t nMost) {
    if (counts.size() <= nMost) return counts;
    tagReportCount others{"others", 0};
    for (size_t n = nMost; n < counts.size(); ++n)
        others.nCount += counts[n].nCount;
    counts.resize(nMost);
    counts.push_back(others);
    return counts;
}

tagDaySpan EveryDay(const std::vector<tagReportCount>& days, size_t nMost) {
    std::vector<tagReportCount> filled;
    auto pDay = days.rbegin();
    const auto last = pDay != days.rend() ? ReadDay(pDay->key) : std::nullopt;
    for (auto day = last; day && pDay != days.rend() && filled.size() < nMost; *day -= std::chrono::days(1)) {
        const std::string key = DayText(*day);
        filled.push_back(pDay->key == key ? *pDay++ : tagReportCount{key, 0});
    }
    std::ranges::reverse(filled);
    return {filled, pDay != days.rend()};
}

int64_t LargestCount(const std::vector<tagReportCount>& counts) {
    return counts.empty() ? 0 : std::ranges::max(counts, {}, &tagReportCount::nCount).nCount;
}

std::string BlockedRequests(int64_t nCount) {
    return Counted(static_cast<uint64_t>(nCount), "blocked request");
}

std::string LostRecords(int64_t nLost) {
    return Counted(static_cast<uint64_t>(nLost), "record") + " of blocked requests could not be stored and " +
           (nLost == 1 ? "is" : "are") + " missing here";
}

namespace {

// Two results have the same reason.
void AddReason(std::vector<tagReportCount>& reasons, const tagReportCount& result) {
    const char* szName = ReasonName(static_cast<uint32_t>(std::atoi(result.key.c_str())));
    const auto pReason = std::ranges::find(reasons, szName, &tagReportCount::key);
    if (pReason == reasons.end()) {
        reasons.push_back({szName, result.nCount});
    } else {
        pReason->nCount += result.nCount;
    }
}

std::optional<std::chrono::sys_days> ReadDay(const std::string& text) {
    int nYear = 0;
    unsigned nMonth = 0, nDay = 0;
    if (std::sscanf(text.c_str(), "%d-%u-%u", &nYear, &nMonth, &nDay) != 3) return std::nullopt;
    const std::chrono::year_month_day date{std::chrono::year(nYear), std::chrono::month(nMonth),
                                           std::chrono::day(nDay)};
    return date.ok() ? std::optional(std::chrono::sys_days(date)) : std::nullopt;
}

std::string DayText(std::chrono::sys_days day) {
    const std::chrono::year_month_day date(day);
    char szText[32];
    std::snprintf(szText, sizeof szText, "%04d-%02u-%02u", int(date.year()), unsigned(date.month()),
                  unsigned(date.day()));
    return szText;
}

}  // namespace
