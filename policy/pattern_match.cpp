#include "policy/pattern_match.h"

#include <string_view>

#include "common/ascii.h"
#include "policy/pattern_index.h"
#include "policy/policy_state.h"
#include "policy/text_hash.h"

namespace {

using FindFn = size_t (*)(std::string_view text, std::string_view what);

bool PatternCovers(std::string_view pattern, std::string_view url, FindFn find);
size_t FindExact(std::string_view text, std::string_view what);

}  // namespace

int CheckExclusionList(tagWebRequest* pRequest) {
    if (!pRequest) return 2;
    if (FirstPattern(g_ExclusionPatterns, pRequest->szCheckURL, true) != NO_ENTRY) {
        pRequest->nResult = RESULT_EXCLUDED;
    }
    return 0;
}

int CheckTrustedURLs(tagWebRequest* pRequest) {
    if (!pRequest) return 2;
    if (FirstPattern(g_TrustedURLPatterns, pRequest->szCheckURL, false) != NO_ENTRY) {
        pRequest->nResult = RESULT_SCAN_TRUSTED;
    }
    return 0;
}

uint32_t FirstPattern(const tagPatternTable& table, std::string_view url, bool bFold) {
    if (HasPatternIndex(table, bFold)) return FindPattern(table, url);
    for (uint32_t n = 0; n < table.nCount; ++n) {
        if (PatternCovers(table.pPatterns[n], url, bFold ? FindNoCase : FindExact)) return n;
    }
    return NO_ENTRY;
}

namespace {

bool PatternCovers(std::string_view pattern, std::string_view url, FindFn find) {
    const bool bAnywhere = pattern.starts_with('*');
    if (bAnywhere) pattern.remove_prefix(1);
    if (pattern.ends_with('/')) pattern.remove_suffix(1);

    // What begins the URL is its first occurrence there: no need to look further for a prefix pattern.
    const size_t nFound = find(bAnywhere ? url : url.substr(0, pattern.size()), pattern);
    if (nFound == std::string_view::npos) return false;
    const std::string_view rest = url.substr(nFound + pattern.size());
    return rest.empty() || std::string_view("/?#").find(rest.front()) != std::string_view::npos;
}

size_t FindExact(std::string_view text, std::string_view what) {
    return text.find(what);
}

}  // namespace
