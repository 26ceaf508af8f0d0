// Mapped lists of a million names: what an import costs, and what a request pays for a look-up.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "modules/urlmap/url_admission.h"
#include "modules/urlmap/url_map.h"
#include "modules/urlmap/url_map_builder.h"

namespace {

constexpr uint64_t NAMES = 1'000'000;
constexpr char FIVE_AND_FIVE[] = "a.b.c.name.example/one/two/three/four/five?query=1";

// Ends the program: without a list there is nothing to measure.
void Require(bool bHolds, const char* szWhat) {
    if (bHolds) return;
    std::perror(szWhat);
    exit(1);
}

// Name n of a list like the public ones: 25 bytes or so, half of them with "www.".
std::string NameOf(uint64_t n) {
    char szName[64];
    (void)snprintf(szName, sizeof szName, "%sname%06lx.site%lu.example", n % 2 == 0 ? "www." : "",
                   n * 0x9E3779B1, n % 1000);
    return szName;
}

// As an import does it: judge each line, compute its key, add it; then sort and write.
void Import(const std::string& path) {
    tagSuffixList suffixes = {};
    tagURLMapBuilder builder;
    Require(LoadSuffixList(&suffixes) && StartURLMap(&builder, URLMAP_THREATS) == URLMAP_OK, "start");
    for (uint64_t n = 0; n < NAMES; ++n) {
        tagCanonicalURL url;
        Require(AdmitURL(suffixes, NameOf(n), &url) == ADMIT_OK, "admit");
        Require(AddThreat(&builder, URLKey({url.szText, url.nLength}), "Threat") == URLMAP_OK, "add");
    }
    Require(WriteURLMap(&builder, path.c_str()) == URLMAP_OK, "write");
    FreeURLMapBuilder(&builder);
    FreeSuffixList(&suffixes);
}

// The list, made once for all benchmarks and gone with the program.
struct List {
    List() : path("/tmp/websec_bench_" + std::to_string(getpid())) {
        Import(path);
        Require(OpenURLMap(&map, path.c_str(), URLMAP_THREATS) == URLMAP_OK, "open");
    }
    ~List() {
        CloseURLMap(&map);
        unlink(path.c_str());
    }
    std::string path;
    tagURLMap map;
};

List& TheList() {
    static List s_list;
    return s_list;
}

// In a process of its own, so that its peak memory is its own.
void ImportOfAMillion(benchmark::State& state) {
    const std::string path = TheList().path + ".import";
    for (auto _ : state) {
        const pid_t child = fork();
        if (child == 0) {
            execl("/proc/self/exe", "url_map_bench", "--import", path.c_str(), nullptr);
            _exit(1);
        }
        int nStatus = 0;
        rusage usage = {};
        Require(wait4(child, &nStatus, 0, &usage) == child && nStatus == 0, "import");
        state.counters["peak_MiB"] = static_cast<double>(usage.ru_maxrss) / 1024;
    }
    struct stat status;
    Require(stat(path.c_str(), &status) == 0, "stat");
    state.counters["bytes_per_name"] = static_cast<double>(status.st_size) / NAMES;
    unlink(path.c_str());
}
BENCHMARK(ImportOfAMillion)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

void OpenAndCheck(benchmark::State& state) {
    for (auto _ : state) {
        tagURLMap map;
        Require(OpenURLMap(&map, TheList().path.c_str(), URLMAP_THREATS) == URLMAP_OK, "open");
        CloseURLMap(&map);
    }
}
BENCHMARK(OpenAndCheck)->Unit(benchmark::kMillisecond);

// Keys in random order, far more than the processor's caches hold.
void LookUp(benchmark::State& state, bool bHit) {
    const tagURLMap& map = TheList().map;
    std::mt19937_64 random(1);
    std::vector<uint64_t> keys(1 << 16);
    for (uint64_t& nKey : keys)
        nKey = bHit ? map.pKeys[random() % map.nNames] : random();
    size_t n = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(FindURLKey(map, keys[n++ % keys.size()]));
}
BENCHMARK_CAPTURE(LookUp, hit, true);
BENCHMARK_CAPTURE(LookUp, miss, false);

void Scan(benchmark::State& state, const char* szURL) {
    uint32_t nKeys = 0;
    for (auto _ : state) {
        tagURLKeys keys;
        nKeys = MakeURLKeys(szURL, &keys);
        benchmark::DoNotOptimize(FindURLKeys(TheList().map, keys));
    }
    state.counters["expressions"] = nKeys;
}
BENCHMARK_CAPTURE(Scan, five_labels_five_path_parts, FIVE_AND_FIVE);
BENCHMARK_CAPTURE(Scan, host_alone, "www.name.example");

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::string_view(argv[1]) == "--import") {
        Import(argv[2]);
        return 0;
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    (void)TheList();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
