// Hostile list entries: the first byte holds the list kind and whether sub-domains are covered, the rest is
// the configured text.
#include <cstring>
#include <string_view>

#include "common/copy_text.h"
#include "inspect/url_helpers.h"
#include "policy/list_entry.h"
#include "policy/list_match.h"
#include "tests/fuzz/fuzz_segment.h"

namespace {

void CheckNormalForm(const tagListEntryBuf& entry) {
    const std::string_view text(entry.szEntry);
    Require(text.size() < sizeof entry.szEntry);
    Require(text.size() < 2 || std::string_view("/?#\n").find(text.back()) == std::string_view::npos);
    Require((entry.nEntryType == ENTRY_URL) == (text.find('/') != std::string_view::npos));
    Require(g_bKeepPathAfterPort == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    if (nSize == 0) return 0;
    tagListEntryBuf entry = {};
    entry.nListKind = pData[0] % 3;
    entry.bSubdomains = pData[0] >> 7;
    CopyText(entry.szSource, {reinterpret_cast<const char*>(pData + 1), nSize - 1});

    tagListEntryBuf parsed = entry;
    Require(ParseListEntry(parsed) == 0);
    CheckNormalForm(parsed);

    const bool bTooShort = std::strlen(entry.szSource) < 2;
    Require(AddListEntry(entry) == (bTooShort ? 2 : 0));
    uint8_t bFound = 0;
    for (const tagListEntry* pList :
         {g_pBlockHostList, g_pAllowHostList, g_pBlockURLList, g_pAllowURLList, g_pTrustedSiteList}) {
        if (!pList) continue;
        Require(!bTooShort && std::strcmp(pList->szEntry, parsed.szEntry) == 0);
        MatchURLList(parsed.szEntry, pList, &bFound);
        Require(bFound == 1);
        MatchHostList(parsed.szHostPart, pList, &bFound);
    }
    FreePolicyLists();
    return 0;
}
