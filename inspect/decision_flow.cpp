#include "inspect/decision_flow.h"

#include <linux/netfilter.h>

#include <string_view>

#include "category/category_engine.h"
#include "category/category_lookup.h"
#include "category/category_names.h"
#include "category/category_policy.h"
#include "category/translate.h"
#include "common/copy_text.h"
#include "inspect/url_helpers.h"
#include "policy/list_match.h"
#include "policy/pattern_match.h"
#include "policy/policy_switches.h"
#include "policy/url_scanner.h"

namespace {
bool IsTrusted(tagWebRequest& request);
uint8_t JudgeCategory(tagWebRequest& request);
uint8_t JudgeThreatCategory(tagWebRequest& request);
uint8_t BlockWithText(tagWebRequest& request, const char* szKey);
}  // namespace

uint8_t JudgeRequest(tagWebRequest& request) {
    if (std::string_view(request.szURL).starts_with("http://localhost/")) return NF_ACCEPT;
    (void)NormaliseURL(&request);

    if (CheckExclusionList(&request) == 0 && request.nResult == RESULT_EXCLUDED) return NF_ACCEPT;
    (void)MarkIPHost(&request);

    if (ScanURL(&request) == 0 &&
        (request.nResult == RESULT_FRAUDULENT || request.nResult == RESULT_HARMFUL)) {
        return IsTrusted(request) ? NF_ACCEPT : NF_DROP;
    }
    if (CheckBlockLists(&request) == 0 &&
        (request.nResult == RESULT_BLOCK_HOST || request.nResult == RESULT_BLOCK_URL)) {
        return BlockWithText(request, "ws_rpt_blocklisturl");
    }
    if (LookupURLCategories(&request) != 0) return NF_ACCEPT;
    if (CheckBlockedCategory(&request) != 0 || request.nResult != RESULT_CATEGORY) return NF_ACCEPT;
    return JudgeCategory(request);
}

namespace {
// Whether the user's trusted sites or the built-in trusted patterns lift a finding.
bool IsTrusted(tagWebRequest& request) {
    if (CheckTrustedSites(&request) == 0 && request.nResult == RESULT_EXCLUDED) return true;
    return CheckTrustedURLs(&request) == 0 && request.nResult == RESULT_SCAN_TRUSTED;
}

// nCategory is a blocked category. In the library modes two of them stand for the two site protections.
uint8_t JudgeCategory(tagWebRequest& request) {
    if (UsesEngineLibrary() &&
        (request.nCategory == CATEGORY_HARMFUL || request.nCategory == CATEGORY_PHISHING)) {
        return JudgeThreatCategory(request);
    }
    if (g_bWebCategoryFilter != 1) return NF_ACCEPT;
    if (CheckAllowLists(&request) == 0 &&
        (request.nResult == RESULT_ALLOW_HOST || request.nResult == RESULT_ALLOW_URL)) {
        return NF_ACCEPT;
    }
    (void)SetCategoryName(&request);
    return NF_DROP;
}

uint8_t JudgeThreatCategory(tagWebRequest& request) {
    if (g_bPhishingProtection != 1 && g_bBrowsingProtection != 1) return NF_ACCEPT;
    if (IsTrusted(request)) return NF_ACCEPT;
    if (request.nCategory == CATEGORY_HARMFUL && g_bBrowsingProtection == 1) {
        request.nResult = RESULT_HARMFUL;
        return BlockWithText(request, "ws_rpt_harmfulurl");
    }
    if (request.nCategory == CATEGORY_PHISHING && g_bPhishingProtection == 1) {
        request.nResult = RESULT_FRAUDULENT;
        return BlockWithText(request, "ws_rpt_fradulanturl");
    }
    return NF_ACCEPT;
}

uint8_t BlockWithText(tagWebRequest& request, const char* szKey) {
    (void)WidenText(request.wszReportText, TranslateText(szKey));
    return NF_DROP;
}
}  // namespace
