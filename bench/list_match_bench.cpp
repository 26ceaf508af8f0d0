// What a request pays for each check against a list of 0 to 100,000 entries:
// with the index, and by walking for comparison.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "common/copy_text.h"
#include "policy/addr_match.h"
#include "policy/list_entry.h"
#include "policy/list_index.h"
#include "policy/list_match.h"
#include "policy/pattern_index.h"
#include "policy/pattern_match.h"

namespace {

enum Check { HOST, DOMAIN, URL, ADDRESS, FTP_ADDRESS, PREFIX, PIECE };

std::string HostOf(uint64_t n) {
    return "name" + std::to_string(n * 0x9E3779B1 % 1000003) + ".site" + std::to_string(n % 1000) +
           ".example";
}

std::string AddressOf(uint64_t n) {
    return std::to_string((n < 1'000'000 ? 10 : 60) + n % 3) + "." + std::to_string(n * 7 % 256) + "." +
           std::to_string(n / 256 % 256) + "." + std::to_string(n % 256);
}

std::string EntryOf(Check check, uint64_t n) {
    switch (check) {
        case DOMAIN:
            return "." + HostOf(n);
        case URL:
            return HostOf(n) + "/path/page" + std::to_string(n % 7);
        case ADDRESS:
        case FTP_ADDRESS:
            return AddressOf(n);
        case PIECE:
            return "*" + HostOf(n);
        default:
            return HostOf(n);
    }
}

// What is asked for: hosts and URLs like the entries; one in sixteen is listed,
// where so many are.
std::vector<std::string> Questions(Check check, uint64_t nEntries) {
    std::mt19937_64 random(1);
    std::vector<std::string> questions(1024);
    for (std::string& text : questions) {
        const bool bListed = random() % 16 == 0 && nEntries != 0;
        const uint64_t n = bListed ? random() % nEntries : 1'000'000 + random() % 1'000'000;
        const bool bAddress = check == ADDRESS || check == FTP_ADDRESS;
        text = bAddress ? AddressOf(n) : "www." + HostOf(n);
        if (check == URL) text = EntryOf(URL, n);
        if (check == FTP_ADDRESS || check == PIECE) text += "/pub/some/file.html?query=1";
        if (check == PREFIX) text = HostOf(n) + "/pub/some/file.html?query=1";
    }
    return questions;
}

void CheckList(benchmark::State& state, Check check, bool bIndex) {
    const auto nEntries = static_cast<uint64_t>(state.range(0));
    tagListEntry* pList = nullptr;
    for (uint64_t n = 0; n < nEntries; ++n)
        CopyText(AppendListEntry(&pList)->szEntry, EntryOf(check, n));
    const bool bAddress = check == ADDRESS || check == FTP_ADDRESS;
    if (bIndex) IndexList(pList, bAddress ? RULES_ADDR : check == URL ? RULES_URL : RULES_HOST);

    const auto questions = Questions(check, nEntries);
    tagWebRequest request = {};
    request.nProtocol = check == FTP_ADDRESS ? PROTO_FTP : PROTO_HTTP;
    size_t n = 0;
    for (auto _ : state) {
        const std::string& text = questions[n++ % questions.size()];
        if (bAddress) {
            CopyText(request.szCheckURL, text);
            benchmark::DoNotOptimize(FirstAddrEntry(request, pList));
        } else {
            benchmark::DoNotOptimize(check == URL ? FirstURLEntry(text, pList) : FirstHostEntry(text, pList));
        }
    }
    FreeList(&pList);
}

void CheckPatterns(benchmark::State& state, Check check, bool bIndex) {
    const auto nEntries = static_cast<uint32_t>(state.range(0));
    tagPatternTable table = {nEntries,
                             static_cast<char(*)[PATTERN_BYTES]>(std::calloc(nEntries + 1, PATTERN_BYTES))};
    for (uint32_t n = 0; n < nEntries; ++n)
        CopyText(table.pPatterns[n], EntryOf(check, n));
    if (bIndex) IndexPatterns(table, true);

    const auto questions = Questions(check, nEntries);
    size_t n = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(FirstPattern(table, questions[n++ % questions.size()], true));
    DropPatternIndex(table);
    FreePatternTable(table);
}

void Sizes(benchmark::internal::Benchmark* pBenchmark) {
    for (const int64_t nEntries : {0, 1, 100, 10'000, 100'000})
        pBenchmark->Arg(nEntries);
}

BENCHMARK_CAPTURE(CheckList, host, HOST, true)->Apply(Sizes);
BENCHMARK_CAPTURE(CheckList, host_walked, HOST, false)->Arg(10'000);
BENCHMARK_CAPTURE(CheckList, domain, DOMAIN, true)->Apply(Sizes);
BENCHMARK_CAPTURE(CheckList, domain_walked, DOMAIN, false)->Arg(10'000);
BENCHMARK_CAPTURE(CheckList, url, URL, true)->Apply(Sizes);
BENCHMARK_CAPTURE(CheckList, url_walked, URL, false)->Arg(10'000);
BENCHMARK_CAPTURE(CheckList, address, ADDRESS, true)->Apply(Sizes);
BENCHMARK_CAPTURE(CheckList, address_walked, ADDRESS, false)->Arg(10'000);
BENCHMARK_CAPTURE(CheckList, ftp_address, FTP_ADDRESS, true)->Apply(Sizes);
BENCHMARK_CAPTURE(CheckList, ftp_address_walked, FTP_ADDRESS, false)->Arg(10'000);
BENCHMARK_CAPTURE(CheckPatterns, prefix, PREFIX, true)->Apply(Sizes);
BENCHMARK_CAPTURE(CheckPatterns, prefix_walked, PREFIX, false)->Arg(10'000);
BENCHMARK_CAPTURE(CheckPatterns, piece, PIECE, true)->Apply(Sizes);
BENCHMARK_CAPTURE(CheckPatterns, piece_walked, PIECE, false)->Arg(10'000);

}  // namespace

BENCHMARK_MAIN();
