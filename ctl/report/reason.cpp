#include "ctl/report/reason.h"

#include <algorithm>
#include <iterator>

#include "inspect/web_request.h"

namespace {

struct tagReason {
    uint32_t nResult;
    const char* szName;
};
constexpr tagReason REASONS[] = {
    {RESULT_BLOCK_HOST, "block list"}, {RESULT_BLOCK_URL, "block list"}, {RESULT_CATEGORY, "category"},
    {RESULT_FRAUDULENT, "phishing"},   {RESULT_HARMFUL, "harmful"},
};

std::string WithoutGaps(std::string_view text);

}  // namespace

const char* ReasonName(uint32_t nResult) {
    const auto* pReason = std::ranges::find(REASONS, nResult, &tagReason::nResult);
    return pReason != std::end(REASONS) ? pReason->szName : "other";
}

uint32_t ReasonMask(std::string_view text) {
    uint32_t nMask = 0;
    for (const auto& reason : REASONS) {
        if (WithoutGaps(reason.szName) == WithoutGaps(text)) nMask |= 1u << reason.nResult;
    }
    return nMask;
}

std::string ReasonText(const tagReportRow& row) {
    std::string text = ReasonName(row.nResult);
    const char* szFoundBy = row.nResult == RESULT_CATEGORY ? row.szName : row.szThreat;
    if (*szFoundBy) text.append(": ").append(szFoundBy);
    if (row.nTimes > 1) text += " (" + std::to_string(row.nTimes) + " times)";
    return text;
}

namespace {

std::string WithoutGaps(std::string_view text) {
    std::string kept(text);
    std::erase_if(kept, [](char c) { return c == ' ' || c == '-'; });
    return kept;
}

}  // namespace
