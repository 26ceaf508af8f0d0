// Each check of a request against a list or a table, at 0, 100, 10,000 and 100,000 entries, none of which
// covers it: that takes longest. Lists and tables are loaded as the daemon loads them.
#include <benchmark/benchmark.h>
#include <netdb.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <string>

#include "inspect/url_helpers.h"
#include "policy/addr_match.h"
#include "policy/data_file_lists.h"
#include "policy/list_entry.h"
#include "policy/list_match.h"
#include "policy/pattern_match.h"
#include "policy/policy_state.h"
#include "policy/settings_load.h"
#include "report/report_module.h"
#include "tests/support/data_file_writer.h"

// In place of the C library's: no name has an address, and none is asked for.
extern "C" int getaddrinfo(const char*, const char*, const addrinfo*, addrinfo**) {
    return EAI_NONAME;
}

namespace {

using EntryFn = std::string (*)(int64_t n);

// Set for the settings module's stand-in below.
struct tagWanted {
    int64_t nCount;
    EntryFn pfnEntry;
    uint8_t nListKind;
    bool bSubdomains;
} g_Wanted;

std::string HostEntry(int64_t n) {
    return "name" + std::to_string(n) + ".listed" + std::to_string(n % 100) + ".example";
}
std::string URLEntry(int64_t n) {
    return HostEntry(n) + "/path/" + std::to_string(n);
}
std::string AddressEntry(int64_t n) {
    return "198." + std::to_string(18 + n / 65536) + '.' + std::to_string(n / 256 % 256) + '.' +
           std::to_string(n % 256);
}
std::string AnywhereEntry(int64_t n) {
    return '*' + URLEntry(n);
}

template <size_t N>
void Widen(char16_t (&wszTo)[N], const std::string& text) {
    *std::copy(text.begin(), text.end(), wszTo) = 0;
}

uint8_t FillSettings(tagClientSettingData* pSettings, uint32_t*) {
    pSettings->nPhishingProtection = pSettings->nCustomBlockList = pSettings->nWebCategoryFilter = 1;
    for (int64_t n = 0; n < g_Wanted.nCount; ++n) {
        const std::string text = g_Wanted.pfnEntry(n);
        if (g_Wanted.nListKind == LIST_TRUSTED) {
            Widen(AppendElement(pSettings->vecTrustedSites)->wszText, text);
            continue;
        }
        const bool bBlock = g_Wanted.nListKind == LIST_BLOCK;
        tagURLSetting* pSetting = AppendElement(bBlock ? pSettings->vecBlockList : pSettings->vecAllowList);
        Widen(pSetting->wszText, text);
        pSetting->bSubdomains = g_Wanted.bSubdomains;
    }
    return 1;
}

void LoadList(const tagWanted& wanted) {
    g_Wanted = wanted;
    g_bReportModuleLoaded = 1;
    g_pfnGetClientAllSettingData = FillSettings;
    if (LoadPolicySettings() != 0) std::abort();
}

std::string PatternFile(int64_t nCount, EntryFn pfnEntry) {
    std::string body = BytesOf(static_cast<uint32_t>(nCount));
    body.reserve(body.size() + static_cast<size_t>(nCount) * PATTERN_BYTES);
    for (int64_t n = 0; n < nCount; ++n) {
        std::string record = pfnEntry(n);
        record.resize(PATTERN_BYTES);
        body += record;
    }
    return MakeDataFile(body);
}

std::unique_ptr<tagWebRequest> RequestFor(const char* szHost, uint8_t nProtocol = PROTO_HTTP) {
    auto pRequest = std::make_unique<tagWebRequest>();
    pRequest->nProtocol = nProtocol;
    std::strcpy(pRequest->szHost, szHost);
    std::strcpy(pRequest->szURL, (std::string("http://") + szHost + "/one/two/page.html?query=1").c_str());
    (void)NormaliseURL(pRequest.get());
    (void)MarkIPHost(pRequest.get());
    return pRequest;
}

void Check(benchmark::State& state, int (*pfnCheck)(tagWebRequest*), tagWebRequest& request) {
    for (auto _ : state)
        benchmark::DoNotOptimize(pfnCheck(&request));
    if (request.nResult != RESULT_NONE) state.SkipWithError("an entry covers the request");
}

void List(benchmark::State& state, int (*pfnCheck)(tagWebRequest*), uint8_t nListKind, EntryFn pfnEntry,
          bool bSubdomains) {
    LoadList({state.range(0), pfnEntry, nListKind, bSubdomains});
    Check(state, pfnCheck, *RequestFor("www.name.example"));
    FreePolicyLists();
}

void Addresses(benchmark::State& state, uint8_t nProtocol) {
    LoadList({state.range(0), AddressEntry, LIST_BLOCK, false});
    g_bFirstFTPAddrMatch = 0;
    Check(state, MatchAddrList, *RequestFor("203.0.113.7", nProtocol));
    FreePolicyLists();
}

void Patterns(benchmark::State& state, int (*pfnCheck)(tagWebRequest*), EntryFn pfnEntry) {
    {
        const MemoryFile file(PatternFile(state.range(0), pfnEntry));
        LoadTables({file.Path().c_str(), "", file.Path().c_str()});
    }
    Check(state, pfnCheck, *RequestFor("www.name.example"));
    LoadTables({"", "", ""});
}

void Lengths(benchmark::internal::Benchmark* pBenchmark) {
    for (const int64_t n : {0, 100, 10'000, 100'000})
        pBenchmark->Arg(n);
}

BENCHMARK_CAPTURE(List, block_hosts, CheckBlockLists, LIST_BLOCK, HostEntry, false)->Apply(Lengths);
BENCHMARK_CAPTURE(List, block_domains, CheckBlockLists, LIST_BLOCK, HostEntry, true)->Apply(Lengths);
BENCHMARK_CAPTURE(List, block_urls, CheckBlockLists, LIST_BLOCK, URLEntry, false)->Apply(Lengths);
BENCHMARK_CAPTURE(List, allow_hosts, CheckAllowLists, LIST_ALLOW, HostEntry, false)->Apply(Lengths);
BENCHMARK_CAPTURE(List, trusted_urls, CheckTrustedSites, LIST_TRUSTED, URLEntry, false)->Apply(Lengths);
BENCHMARK_CAPTURE(Addresses, http, PROTO_HTTP)->Apply(Lengths);
BENCHMARK_CAPTURE(Addresses, ftp, PROTO_FTP)->Apply(Lengths);
BENCHMARK_CAPTURE(Patterns, exclusion_prefixes, CheckExclusionList, URLEntry)->Apply(Lengths);
BENCHMARK_CAPTURE(Patterns, exclusion_anywhere, CheckExclusionList, AnywhereEntry)->Apply(Lengths);
BENCHMARK_CAPTURE(Patterns, trusted_anywhere, CheckTrustedURLs, AnywhereEntry)->Apply(Lengths);

}  // namespace

BENCHMARK_MAIN();
