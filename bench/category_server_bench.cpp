// Exchanges with the category server as the workers make them: each with a connection of its own. The server
// has to be there, with lists:
//     unshare -n sh -c 'ip link set lo up; websec-catserver & sleep 1; category_server_bench; kill $!'
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>

#include "category/category_engine.h"
#include "category/category_lookup.h"
#include "inspect/web_request.h"
#include "policy/policy_switches.h"

namespace {

void Exchange(benchmark::State& state) {
    const auto pRequest = std::make_unique<tagWebRequest>();
    std::strcpy(pRequest->szURL, "http://www.name.example/one/two?query=1");
    for (auto _ : state) {
        if (LookupURLCategories(pRequest.get()) != 0) {
            state.SkipWithError("no answer from websec-catserver");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(Exchange)->Threads(1)->Threads(4)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    g_bUseCatServer = CATENGINE_SERVER;
    g_bWebCategoryFilter = 1;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
