// What a request pays for what is known of its URL: the scan by urlcheck.so and the categories by
// libwebcat.so, with 0 to 100,000 names in each of the mapped lists; and whether one of them is blocked.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <charconv>
#include <filesystem>
#include <iterator>
#include <memory>
#include <numeric>
#include <string>

#include "bench/questions.h"
#include "category/category_engine.h"
#include "category/category_lookup.h"
#include "category/category_policy.h"
#include "category/category_table.h"
#include "common/copy_text.h"
#include "modules/urlmap/list_files.h"
#include "modules/urlmap/url_map_builder.h"
#include "policy/policy_switches.h"
#include "policy/url_scanner.h"

namespace {

constexpr uint8_t LISTED_CATEGORY = 50;
constexpr uint16_t LISTED = RealToLibraryId(LISTED_CATEGORY);  // behind that of phishing sites

std::string URLOf(uint64_t n) {
    return "www." + HostOf(n) + "/pub/some/file.html?query=1";
}

// Lists of so many names in a folder of their own; none where there are no names.
struct Lists {
    explicit Lists(uint64_t nNames) {
        char szFolder[] = "/tmp/websec_bench_XXXXXX";
        folder = mkdtemp(szFolder);
        setenv("WEBSEC_LISTS", szFolder, 1);
        if (nNames == 0) return;
        Write(PHISHING_LIST, URLMAP_THREATS, 0, nNames);
        Write(HARMFUL_LIST, URLMAP_THREATS, 2 * FIRST_UNLISTED, nNames);
        Write(CATEGORY_LIST, URLMAP_CATEGORIES, 0, nNames);
    }
    ~Lists() { std::filesystem::remove_all(folder); }
    Lists(const Lists&) = delete;

    void Write(const char* szName, uint32_t nKind, uint64_t nFirst, uint64_t nNames) const {
        tagURLMapBuilder builder;
        (void)StartURLMap(&builder, nKind);
        for (uint64_t n = nFirst; n < nFirst + nNames; ++n) {
            const uint64_t nKey = URLKey(HostOf(n) + "/");
            (void)(nKind == URLMAP_THREATS ? AddThreat(&builder, nKey, "Threat")
                                           : AddCategory(&builder, nKey, LISTED_CATEGORY));
        }
        (void)WriteURLMap(&builder, (folder / szName).c_str());
        FreeURLMapBuilder(&builder);
    }
    std::filesystem::path folder;
};

void Scan(benchmark::State& state) {
    const auto nNames = static_cast<uint64_t>(state.range(0));
    const Lists lists(nNames);
    LoadURLScannerFrom(URLCHECK);
    g_bPhishingProtection = g_bBrowsingProtection = 1;
    const auto pRequest = std::make_unique<tagWebRequest>();
    if (g_bURLScannerLoaded != 1) return state.SkipWithError("no urlcheck.so");
    Measure(state, QuestionsAbout(nNames, URLOf), [&](const std::string& text) {
        CopyText(pRequest->szCheckURL, text);
        pRequest->nResult = RESULT_NONE;
        return ScanURL(pRequest.get()) == 0 && pRequest->nResult == RESULT_FRAUDULENT;
    });
    (void)UnloadURLScanner();
}
BENCHMARK(Scan)->Apply(Sizes);

void LookUp(benchmark::State& state) {
    const auto nNames = static_cast<uint64_t>(state.range(0));
    const Lists lists(nNames);
    if (WCInit() != 0) return state.SkipWithError("no libwebcat.so");
    g_bUseCatServer = CATENGINE_LIBRARY;
    g_bWebCategoryFilter = 1;
    const auto pRequest = std::make_unique<tagWebRequest>();
    CopyText(pRequest->szHost, "www.name.example");
    const auto urlOf = [](uint64_t n) { return "http://" + URLOf(n); };
    Measure(state, QuestionsAbout(nNames, urlOf), [&](const std::string& text) {
        CopyText(pRequest->szURL, text);
        const bool bKnown = LookupURLCategories(pRequest.get()) == 0 && pRequest->nCategoryCount != 0;
        return bKnown && pRequest->nCategoryIds[pRequest->nCategoryCount - 1] == LISTED;
    });
    (void)WCDeinit();
}
BENCHMARK(LookUp)->Apply(Sizes);

// The last of five categories, or with the server the only one, is blocked in one request of sixteen.
void CheckCategory(benchmark::State& state, uint8_t nMode) {
    g_bUseCatServer = nMode;
    g_nBlockedCategoryCount = static_cast<uint16_t>(state.range(0));
    for (uint16_t n = 0; n < g_nBlockedCategoryCount; ++n)
        g_nBlockedCategories[n] = static_cast<uint16_t>(LIBRARY_ID_BASE + n);
    const auto pRequest = std::make_unique<tagWebRequest>();
    tagWebRequest& request = *pRequest;
    std::iota(request.nCategoryIds, std::end(request.nCategoryIds), 1);
    request.nCategoryCount = std::size(request.nCategoryIds);
    const auto categoryOf = [](uint64_t n) {
        return static_cast<uint16_t>(n < FIRST_UNLISTED ? LIBRARY_ID_BASE + n : 10 + n % 80);
    };
    Measure(state, QuestionsAbout(g_nBlockedCategoryCount, categoryOf), [&](uint16_t nCategory) {
        request.nCategoryIds[4] = nCategory;
        *std::to_chars(request.szCategories, request.szCategories + 8, nCategory).ptr = '\0';
        request.nResult = RESULT_NONE;
        return CheckBlockedCategory(&request) == 0 && request.nResult == RESULT_CATEGORY;
    });
    g_nBlockedCategoryCount = 0;
}
BENCHMARK_CAPTURE(CheckCategory, library, CATENGINE_LIBRARY)->Arg(0)->Arg(1)->Arg(MAX_BLOCKED_CATEGORIES);
BENCHMARK_CAPTURE(CheckCategory, server, CATENGINE_SERVER)->Arg(0)->Arg(1)->Arg(MAX_BLOCKED_CATEGORIES);

}  // namespace

BENCHMARK_MAIN();
