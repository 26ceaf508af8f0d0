// The stops of one packet's road, each by itself, and the whole of it, without lists.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <string>

#include "bench/sample_traffic.h"
#include "inspect/build_url.h"
#include "inspect/decision_flow.h"
#include "inspect/ftp_command.h"
#include "inspect/http_request.h"
#include "inspect/ipv4_tcp.h"
#include "inspect/protocol_detect.h"
#include "inspect/queued_packet.h"
#include "inspect/tls_client_hello.h"
#include "inspect/url_helpers.h"
#include "service/service_config.h"
#include "tests/support/client_hello_composer.h"

namespace {

std::string TLSData() {
    return ClientHelloFor(HOST);
}
std::string FTPData() {
    return "RETR folder/file.txt\r\n";
}

void ParseMessage(benchmark::State& state) {
    const Message message(HTTPData());
    for (auto _ : state) {
        tagQueueAttrTable table;
        ParseQueueMessage(message.pHeader, table);
        benchmark::DoNotOptimize(QueuedPacketId(table));
    }
}
BENCHMARK(ParseMessage);

void Dissect(benchmark::State& state) {
    const Bytes packet = ComposePacket({.payload = HTTPData()});
    const auto pRequest = std::make_unique<tagWebRequest>();
    for (auto _ : state) {
        tagPacketInfo info = SlotOf(packet);
        benchmark::DoNotOptimize(ParseIPv4TCP(&info, pRequest.get()));
    }
}
BENCHMARK(Dissect);

// A stop that works on the data of one segment.
template <class T>
void OnSegment(benchmark::State& state, std::string (*pfnData)(), uint8_t nMethod, T operation) {
    const TestSegment segment(pfnData());
    const auto pRequest = std::make_unique<tagWebRequest>();
    pRequest->nMethod = nMethod;
    for (auto _ : state) {
        benchmark::DoNotOptimize(operation(&segment.info, pRequest.get()));
        benchmark::ClobberMemory();
    }
}
BENCHMARK_CAPTURE(OnSegment, detect_http, HTTPData, 0, DetectProtocol);
BENCHMARK_CAPTURE(OnSegment, detect_tls, TLSData, 0, DetectProtocol);
BENCHMARK_CAPTURE(OnSegment, detect_ftp, FTPData, 0, DetectProtocol);
BENCHMARK_CAPTURE(OnSegment, extract_http, HTTPData, 0, ExtractHTTPRequest);
BENCHMARK_CAPTURE(OnSegment, extract_tls, TLSData, 0, ExtractTLSServerName);
BENCHMARK_CAPTURE(OnSegment, extract_ftp, FTPData, 1, ExtractFTPArgument);

void BuildURL(benchmark::State& state) {
    const auto pRequest = std::make_unique<tagWebRequest>();
    std::strcpy(pRequest->szHost, HOST);
    std::strcpy(pRequest->szPath, "/one/two/page.html?query=1");
    for (auto _ : state)
        benchmark::DoNotOptimize(BuildHTTPURL(pRequest.get()));
}
BENCHMARK(BuildURL);

// A request of HTTP as it comes to the checks.
std::unique_ptr<tagWebRequest> BuiltRequest() {
    auto pRequest = std::make_unique<tagWebRequest>();
    pRequest->nProtocol = PROTO_HTTP;
    std::strcpy(pRequest->szHost, HOST);
    std::strcpy(pRequest->szPath, "/one/two/page.html?query=1");
    (void)BuildHTTPURL(pRequest.get());
    return pRequest;
}

void Normalise(benchmark::State& state) {
    const auto pRequest = BuiltRequest();
    for (auto _ : state)
        benchmark::DoNotOptimize(NormaliseURL(pRequest.get()));
}
BENCHMARK(Normalise);

void Judge(benchmark::State& state) {
    const auto pRequest = BuiltRequest();
    for (auto _ : state)
        benchmark::DoNotOptimize(JudgeRequest(*pRequest));
}
BENCHMARK(Judge);

// From the message to the decision.
void WholeRoad(benchmark::State& state, std::string (*pfnData)(), uint8_t bLive) {
    const Message message(pfnData());
    g_bLiveTraffic = bLive;
    for (auto _ : state) {
        tagPacketInfo info{};
        benchmark::DoNotOptimize(OnQueuePacket(message.pHeader, &info));
    }
    g_bLiveTraffic = 0;
}
BENCHMARK_CAPTURE(WholeRoad, http, HTTPData, 0);
BENCHMARK_CAPTURE(WholeRoad, tls, TLSData, 0);
BENCHMARK_CAPTURE(WholeRoad, ftp, FTPData, 0);
BENCHMARK_CAPTURE(WholeRoad, live_http, HTTPData, 1);
BENCHMARK_CAPTURE(WholeRoad, live_tls, TLSData, 1);

}  // namespace

BENCHMARK_MAIN();
