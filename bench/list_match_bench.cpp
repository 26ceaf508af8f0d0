// What a request pays for each check against a list of 0 to 100,000 entries:
// with the index, and by walking for comparison.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "bench/questions.h"
#include "common/copy_text.h"
#include "inspect/excluded_range.h"
#include "policy/addr_match.h"
#include "policy/list_entry.h"
#include "policy/list_index.h"
#include "policy/list_match.h"
#include "policy/pattern_index.h"
#include "policy/pattern_match.h"
#include "policy/policy_state.h"
#include "policy/range_index.h"
#include "policy/text_hash.h"

namespace {

enum Check { HOST, DOMAIN, URL, ADDRESS, FTP_ADDRESS, PREFIX, PIECE };

std::string AddressOf(uint64_t n) {
    return std::to_string((n < FIRST_UNLISTED ? 10 : 60) + n % 3) + "." + std::to_string(n * 7 % 256) + "." +
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

// What is asked for: hosts and URLs like the entries.
std::string QuestionOf(Check check, uint64_t n) {
    constexpr char PATH[] = "/pub/some/file.html?query=1";
    switch (check) {
        case URL:
            return EntryOf(URL, n);
        case ADDRESS:
            return AddressOf(n);
        case FTP_ADDRESS:
            return AddressOf(n) + PATH;
        case PREFIX:
            return HostOf(n) + PATH;
        case PIECE:
            return "www." + HostOf(n) + PATH;
        default:
            return "www." + HostOf(n);
    }
}
auto Questions(Check check, uint64_t nEntries) {
    return QuestionsAbout(nEntries, [check](uint64_t n) { return QuestionOf(check, n); });
}

void CheckList(benchmark::State& state, Check check, bool bIndex) {
    const auto nEntries = static_cast<uint64_t>(state.range(0));
    tagListEntry* pList = nullptr;
    for (uint64_t n = 0; n < nEntries; ++n)
        CopyText(AppendListEntry(&pList)->szEntry, EntryOf(check, n));
    const bool bAddress = check == ADDRESS || check == FTP_ADDRESS;
    if (bIndex) IndexList(pList, bAddress ? RULES_ADDR : check == URL ? RULES_URL : RULES_HOST);

    tagWebRequest request = {};
    request.nProtocol = check == FTP_ADDRESS ? PROTO_FTP : PROTO_HTTP;
    Measure(state, Questions(check, nEntries), [&](const std::string& text) {
        if (!bAddress)
            return (check == URL ? FirstURLEntry(text, pList) : FirstHostEntry(text, pList)) != nullptr;
        CopyText(request.szCheckURL, text);
        return FirstAddrEntry(request, pList) != nullptr;
    });
    FreeList(&pList);
}

void CheckPatterns(benchmark::State& state, Check check, bool bIndex) {
    const auto nEntries = static_cast<uint32_t>(state.range(0));
    tagPatternTable table = {nEntries,
                             static_cast<char(*)[PATTERN_BYTES]>(std::calloc(nEntries + 1, PATTERN_BYTES))};
    for (uint32_t n = 0; n < nEntries; ++n)
        CopyText(table.pPatterns[n], EntryOf(check, n));
    if (bIndex) IndexPatterns(table, true);

    Measure(state, Questions(check, nEntries),
            [&](const std::string& text) { return FirstPattern(table, text, true) != NO_ENTRY; });
    DropPatternIndex(table);
    FreePatternTable(table);
}

// Networks of 256 addresses in any order, a gap of as many behind each.
uint32_t RangeOf(uint64_t n) {
    return 0x0A000000 + static_cast<uint32_t>((n * 40503 & 0xFFFF) << 9);
}

void CheckRanges(benchmark::State& state, bool bIndex) {
    const auto nEntries = static_cast<uint16_t>(state.range(0));
    std::vector<tagAddrRange> ranges;
    for (uint64_t n = 0; n < nEntries; ++n)
        ranges.push_back({RangeOf(n), htonl(0xFFFFFF00)});
    g_ExcludedRanges = {nEntries, ranges.data()};
    if (bIndex) IndexRanges(g_ExcludedRanges);

    tagPacketInfo packet = {};
    const auto addressOf = [](uint64_t n) { return htonl(RangeOf(n) + (n < FIRST_UNLISTED ? 7 : 263)); };
    Measure(state, QuestionsAbout(nEntries, addressOf), [&](uint32_t nAddress) {
        packet.nDstAddr = nAddress;
        return IsDestinationExcluded(&packet) == 0;
    });
    DropRangeIndex(g_ExcludedRanges);
    g_ExcludedRanges = {};
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
// 65,535 are as many as a file holds.
BENCHMARK_CAPTURE(CheckRanges, range, true)->Arg(0)->Arg(1)->Arg(100)->Arg(10'000)->Arg(65'535);
BENCHMARK_CAPTURE(CheckRanges, range_walked, false)->Arg(10'000);

}  // namespace

BENCHMARK_MAIN();
