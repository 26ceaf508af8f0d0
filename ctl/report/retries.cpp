#include "ctl/report/retries.h"

#include <iterator>
#include <string_view>

#include "ctl/report/reason.h"

namespace {

using TextMember = const char* tagReportRow::*;
constexpr TextMember TEXTS[] = {
    &tagReportRow::szTime, &tagReportRow::szUser,   &tagReportRow::szURL,    &tagReportRow::szHost,
    &tagReportRow::szName, &tagReportRow::szReason, &tagReportRow::szAction, &tagReportRow::szThreat,
};

bool IsRetry(const tagReportRow& row, const tagReportRow& newest);

}  // namespace

bool RetryMerger::Take(const tagReportRow& row) {
    while (!m_groups.empty() && m_groups.front().row.nTime - row.nTime > RETRY_SECONDS) {
        if (!HandOnFirst()) return false;
    }
    for (tagGroup& group : m_groups) {
        if (!IsRetry(row, group.row)) continue;
        ++group.row.nTimes;
        return true;
    }
    // A deque leaves its elements where they are, so the row may point into its own group.
    tagGroup& group = m_groups.emplace_back(tagGroup{row, {}});
    for (const TextMember text : TEXTS)
        group.texts.emplace_back(row.*text);
    for (size_t i = 0; i < std::size(TEXTS); ++i)
        group.row.*TEXTS[i] = group.texts[i].c_str();
    return m_nLeft != 0;
}

void RetryMerger::Finish() {
    while (!m_groups.empty() && HandOnFirst()) {
    }
    m_groups.clear();
}

bool RetryMerger::HandOnFirst() {
    if (m_nLeft == 0) return false;
    const bool bMore = m_handle(m_groups.front().row);
    m_groups.pop_front();
    if (m_nLeft > 0) --m_nLeft;
    return bMore && m_nLeft != 0;
}

namespace {

bool IsRetry(const tagReportRow& row, const tagReportRow& newest) {
    const auto same = [](std::string_view a, std::string_view b) { return a == b; };
    return same(ReasonName(row.nResult), ReasonName(newest.nResult)) && same(row.szHost, newest.szHost) &&
           same(row.szUser, newest.szUser);
}

}  // namespace
