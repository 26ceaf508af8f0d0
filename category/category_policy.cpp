#include "category/category_policy.h"

#include <string.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <span>
#include <string_view>

#include "category/category_engine.h"
#include "category/translate.h"
#include "common/copy_text.h"
#include "policy/policy_switches.h"

namespace {

int CheckEngineCategories(tagWebRequest& request);
int CheckServerCategories(tagWebRequest& request);
bool IsBlocked(int64_t nId);
int64_t ReadCategoryId(std::string_view szToken);

}  // namespace

int CheckBlockedCategory(tagWebRequest* pRequest) {
    if (!pRequest) return 2;
    if (g_nBlockedCategoryCount == 0) return 0;
    return UsesEngineLibrary() ? CheckEngineCategories(*pRequest) : CheckServerCategories(*pRequest);
}

namespace {

int CheckEngineCategories(tagWebRequest& request) {
    const size_t nCount = std::min<size_t>(request.nCategoryCount, std::size(request.nCategoryIds));
    for (const uint16_t nId : std::span(request.nCategoryIds).first(nCount)) {
        if (!IsBlocked(nId)) continue;
        request.nResult = RESULT_CATEGORY;
        request.nCategory = nId;
        WidenText(request.wszReportText, TranslateText("ws_rpt_categoryurl"));
        return 0;
    }
    return -1;
}

int CheckServerCategories(tagWebRequest& request) {
    std::string_view szRest(request.szCategories, strnlen(request.szCategories, sizeof request.szCategories));
    while (!szRest.empty()) {
        const size_t nEnd = std::min(szRest.find(','), szRest.size());
        const std::string_view szToken = szRest.substr(0, nEnd);
        szRest.remove_prefix(std::min(nEnd + 1, szRest.size()));
        if (szToken.empty()) continue;
        const int64_t nId = ReadCategoryId(szToken);
        if (!IsBlocked(nId)) continue;
        request.nResult = RESULT_CATEGORY;
        request.nCategory = static_cast<uint32_t>(nId);
        return 0;
    }
    return -1;
}

bool IsBlocked(int64_t nId) {
    const size_t nCount = std::min(g_nBlockedCategoryCount, MAX_BLOCKED_CATEGORIES);
    const auto blocked = std::span(g_nBlockedCategories).first(nCount);
    return std::find(blocked.begin(), blocked.end(), nId) != blocked.end();
}

// Blanks, a sign and digits are read as atoi does, and 0 stands for a text without digits. A number that
// does not fit is answered with one that is no category id, instead of being wrapped onto one.
int64_t ReadCategoryId(std::string_view szToken) {
    constexpr std::string_view BLANKS = " \t\n\v\f\r";
    szToken.remove_prefix(std::min(szToken.find_first_not_of(BLANKS), szToken.size()));
    const bool bSigned = !szToken.empty() && (szToken[0] == '-' || szToken[0] == '+');
    const bool bNegative = bSigned && szToken[0] == '-';
    if (bSigned) szToken.remove_prefix(1);
    uint32_t nValue = 0;
    const auto read = std::from_chars(szToken.data(), szToken.data() + szToken.size(), nValue);
    if (read.ec == std::errc::result_out_of_range) return -1;
    return bNegative ? -static_cast<int64_t>(nValue) : int64_t{nValue};
}

}  // namespace
