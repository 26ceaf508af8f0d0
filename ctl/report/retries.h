// Browsers try a blocked page again several times. Rows of one user, host and reason that lie within ten
// seconds of the newest are shown as that one, with a count; the store keeps each.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "modules/store/store_reports.h"

constexpr int64_t RETRY_SECONDS = 10;

// Takes rows newest first and hands on one for each group, nTimes set, in the order of their newest.
class RetryMerger {
  public:
    // handle answers false when it wants no more; nLimit: after so many rows neither, 0 for all.
    RetryMerger(std::function<bool(const tagReportRow&)> handle, int64_t nLimit)
        : m_handle(std::move(handle)), m_nLeft(nLimit == 0 ? -1 : nLimit) {}

    bool Take(const tagReportRow& row);  // false: no more rows are wanted
    void Finish();                       // hands on what is held

  private:
    struct tagGroup {
        tagReportRow row;
        std::vector<std::string> texts;  // what the row's texts are, kept beyond the call
    };
    bool HandOnFirst();

    std::function<bool(const tagReportRow&)> m_handle;
    int64_t m_nLeft;  // below zero: all
    std::deque<tagGroup> m_groups;
};
