// How many requests were blocked, by what: the figures of the summary and of the page.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "ctl/report/store.h"

struct tagReportCounts {
    int64_t nTotal = 0;
    int64_t nLost = 0;                       // never stored, whatever the filter
    std::vector<tagReportCount> reasons;     // the most frequent first, as in users and categories
    std::vector<tagReportCount> users;       // the empty one is unknown
    std::vector<tagReportCount> categories;  // of rows blocked for their category
    std::vector<tagReportCount> days;        // "2026-11-22", those with a block, in their order
};

// The filter's limit does not apply.
tagReportCounts CountBlocked(ReportStore& store, tagReportFilter filter);

// The first nMost counts and, when there are more, the sum of the rest as "others".
std::vector<tagReportCount> TopCounts(std::vector<tagReportCount> counts, size_t nMost);

// Days with those without a block between them, at most the latest nMost.
struct tagDaySpan {
    std::vector<tagReportCount> days;
    bool bLatestOnly;  // earlier ones are left out
};
tagDaySpan EveryDay(const std::vector<tagReportCount>& days, size_t nMost);

// The largest of the counts; 0 for none.
int64_t LargestCount(const std::vector<tagReportCount>& counts);

// "1 blocked request", "12 blocked requests".
std::string BlockedRequests(int64_t nCount);

// That so many records are missing, as a sentence.
std::string LostRecords(int64_t nLost);
