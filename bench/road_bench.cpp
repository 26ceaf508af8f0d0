// The stops of one packet's road, each by itself, and the whole of it, without lists.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <linux/netfilter/nfnetlink.h>

#include <cstring>
#include <memory>
#include <string>

#include "inspect/build_url.h"
#include "inspect/decision_flow.h"
#include "inspect/ftp_command.h"
#include "inspect/http_request.h"
#include "inspect/ipv4_tcp.h"
#include "inspect/protocol_detect.h"
#include "inspect/queued_packet.h"
#include "inspect/tls_client_hello.h"
#include "inspect/url_helpers.h"
#include "intercept/queue_attributes.h"
#include "service/service_config.h"
#include "tests/support/client_hello_composer.h"
#include "tests/support/packet_composer.h"

namespace {

constexpr char HOST[] = "www.name.example";

// What a browser sends, 400 bytes or so.
std::string HTTPData() {
    return std::string("GET /one/two/page.html?query=1 HTTP/1.1\r\nHost: ") + HOST +
           "\r\nUser-Agent: " + std::string(120, 'u') + "\r\nAccept: " + std::string(100, 'a') +
           "\r\nAccept-Language: en\r\nConnection: keep-alive\r\n\r\n";
}
std::string TLSData() {
    return ClientHelloFor(HOST);
}
std::string FTPData() {
    return "RETR folder/file.txt\r\n";
}

// The message that the kernel sends for a packet, in the order of its attributes.
struct Message {
    explicit Message(const std::string& data) {
        const Bytes packet = ComposePacket({.payload = data});
        pHeader = mnl_nlmsg_put_header(bytes);
        pHeader->nlmsg_type = NFNL_SUBSYS_QUEUE << 8 | NFQNL_MSG_PACKET;
        (void)mnl_nlmsg_put_extra_header(pHeader, sizeof(nfgenmsg));
        const nfqnl_msg_packet_hdr header{htonl(1), htons(0x0800), 4};
        mnl_attr_put(pHeader, NFQA_PACKET_HDR, sizeof header, &header);
        mnl_attr_put_u32(pHeader, NFQA_IFINDEX_OUTDEV, htonl(2));
        mnl_attr_put_u32(pHeader, NFQA_UID, htonl(1000));
        mnl_attr_put(pHeader, NFQA_PAYLOAD, packet.size(), packet.data());
    }
    alignas(nlmsghdr) uint8_t bytes[4096] = {};
    nlmsghdr* pHeader;
};

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
