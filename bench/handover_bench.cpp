// The stops before and behind the judging of a packet: the store, requests in pieces, the verdict, and what a
// blocked request costs beside it.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <linux/netfilter.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <string>

#include "bench/sample_traffic.h"
#include "block/block_reset.h"
#include "common/copy_text.h"
#include "inspect/data_part.h"
#include "inspect/ipv4_tcp.h"
#include "inspect/request_gathering.h"
#include "intercept/packet_store.h"
#include "intercept/verdict_batch.h"
#include "policy/policy_switches.h"
#include "report/block_report.h"
#include "report/report_module.h"
#include "report/report_records.h"
#include "report/session_user.h"
#include "service/service_config.h"

namespace {
uint64_t s_nSentBytes;
uint64_t s_nRecords;  // that name a user
}  // namespace

// Takes the place of the kernel.
ssize_t mnl_socket_sendto(const mnl_socket*, const void*, size_t nBytes) {
    s_nSentBytes += nBytes;
    return static_cast<ssize_t>(nBytes);
}

// Takes the place of the client report store.
extern "C" uint8_t InsertClientReportData(uint32_t, const void* pRecord, uint32_t*) {
    s_nRecords += static_cast<const ClientReportRecord*>(pRecord)->wszUser[0] != 0;
    return 1;
}

namespace {

// The store of typed reports.
int TakeTypedRecord(int, void* pRecord, uint32_t*) {
    s_nRecords += static_cast<const ReportRecordBlock*>(pRecord)->wszUser[0] != 0;
    return 1;
}

void Require(benchmark::State& state, bool bHolds, const char* szElse) {
    if (!bHolds) state.SkipWithError(szElse);
}

// As many messages as wait at a time go in, then out.
void PushAndPop(benchmark::State& state, uint8_t bLive) {
    const Message message(HTTPData());
    const auto pSent = std::make_unique<tagPacketSlot>(), pTaken = std::make_unique<tagPacketSlot>();
    pSent->nMessageLen = message.pHeader->nlmsg_len;
    std::memcpy(pSent->message, message.bytes, pSent->nMessageLen);
    g_bLiveTraffic = bLive;
    PacketStoreInit(g_PacketStore);
    g_bLiveTraffic = 0;

    const auto nWaiting = static_cast<uint32_t>(state.range(0));
    uint64_t nWrong = 0;
    for (auto _ : state) {
        for (pSent->nQueueNum = 0; pSent->nQueueNum < nWaiting; ++pSent->nQueueNum)
            nWrong += PacketStorePush(g_PacketStore, *pSent) != 0;
        for (uint32_t n = 0; n < nWaiting; ++n)
            nWrong += PacketStorePop(g_PacketStore, *pTaken) != 0 || pTaken->nQueueNum != n;
    }
    nWrong += std::memcmp(pTaken->message, pSent->message, pSent->nMessageLen) != 0;
    Require(state, nWrong == 0, "what comes out is not what went in");
    state.counters["each"] = {double(nWaiting),
                              benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert};
}
BENCHMARK_CAPTURE(PushAndPop, linear, 0)->Arg(1)->Arg(100)->Arg(PACKET_STORE_SLOTS);
BENCHMARK_CAPTURE(PushAndPop, ring, 1)->Arg(1)->Arg(100)->Arg(PACKET_STORE_SLOTS);

// A packet as it leaves dissection.
struct Dissected {
    explicit Dissected(const std::string& data) : bytes(ComposePacket({.payload = data})) {
        info = SlotOf(bytes);
        info.nPacketId = 1;
        (void)ParseIPv4TCP(&info, std::make_unique<tagWebRequest>().get());
    }
    Dissected(const Dissected&) = delete;
    Bytes bytes;
    tagPacketInfo info;
};

// Later than what was noted before this run is remembered.
int64_t Later() {
    static int64_t s_nNowMs = 0;
    return s_nNowMs += 10 * BLOCKED_AGE_MS;
}

// Requests that come whole, or else in two pieces, on so many connections in turn; each is allowed.
void Gather(benchmark::State& state, size_t nFirst) {
    const std::string request = HTTPData();
    const Dissected whole(request), head(request.substr(0, nFirst)), rest(request.substr(nFirst));
    const auto nConnections = static_cast<uint64_t>(state.range(0));
    const auto pBuffer = std::make_unique<tagStreamBuffer>();
    const int64_t nNowMs = Later();
    uint64_t n = 0, nWrong = 0;
    for (auto _ : state) {
        const auto take = [&](tagPacketInfo packet, uint32_t nOffset, uint8_t nAnswer) {
            packet.nSrcPort = static_cast<uint16_t>(10'000 + n % nConnections % 50'000);
            packet.nDstAddr += htonl(static_cast<uint32_t>(n % nConnections / 50'000));
            packet.nSeq = static_cast<uint32_t>(n / nConnections * request.size()) + nOffset;
            tagPacketInfo part = DataPart(packet);
            nWrong += GatherRequest(part, *pBuffer, nNowMs) != nAnswer;
            if (nAnswer != GATHER_JUDGE) return;
            nWrong += part.nDataLen != request.size();
            RememberAllowed(packet, nNowMs);
        };
        if (nFirst == 0) {
            take(whole.info, 0, GATHER_JUDGE);
        } else {
            take(head.info, 0, GATHER_WAIT);
            take(rest.info, static_cast<uint32_t>(nFirst), GATHER_JUDGE);
        }
        ++n;
    }
    Require(state, nWrong == 0, "a request is not put together");
}
BENCHMARK_CAPTURE(Gather, whole, 0)->Arg(1)->Arg(100)->Arg(10'000)->Arg(100'000);
BENCHMARK_CAPTURE(Gather, two_pieces, 60)->Arg(1)->Arg(100)->Arg(10'000)->Arg(100'000);

// A piece of the body behind a request that was judged.
void GatherBehind(benchmark::State& state, bool bBlocked) {
    const Dissected head("PUT /b HTTP/1.1\r\nHost: name.example\r\nContent-Length: 100000000\r\n\r\n");
    Dissected body(std::string(1360, 'b'));
    body.info.nSeq += head.info.nDataLen;
    const auto pBuffer = std::make_unique<tagStreamBuffer>();
    const int64_t nNowMs = Later();
    tagPacketInfo part = DataPart(head.info);
    uint64_t nWrong = GatherRequest(part, *pBuffer, nNowMs) != GATHER_JUDGE;
    bBlocked ? RememberBlocked(head.info, nNowMs) : RememberAllowed(head.info, nNowMs);
    for (auto _ : state) {
        part = DataPart(body.info);
        nWrong += GatherRequest(part, *pBuffer, nNowMs) != (bBlocked ? GATHER_DROP : GATHER_PASS);
    }
    nWrong += !bBlocked && part.nStreamMark != STREAM_RELEASE;  // that its length is known
    Require(state, nWrong == 0, "the request is not remembered");
}
BENCHMARK_CAPTURE(GatherBehind, allowed, false);
BENCHMARK_CAPTURE(GatherBehind, blocked, true);

constexpr tagQueueReceiver RECEIVER{};

tagPacketInfo AcceptedPacket() {
    tagPacketInfo packet{};
    packet.nPacketId = 1;
    packet.nVerdict = NF_ACCEPT;
    return packet;
}
const tagPacketInfo ACCEPTED = AcceptedPacket();

void MakeVerdictMessage(benchmark::State& state) {
    tagQueueMsgBuffer buffer;
    const nlmsghdr* pMessage = nullptr;
    for (auto _ : state) {
        benchmark::DoNotOptimize(pMessage = MakeVerdict(buffer, RECEIVER, ACCEPTED));
        benchmark::ClobberMemory();
    }
    Require(state, pMessage && pMessage->nlmsg_type == (NFNL_SUBSYS_QUEUE << 8 | NFQNL_MSG_VERDICT),
            "no verdict");
}
BENCHMARK(MakeVerdictMessage);

// To be sent two at a time, without a kernel.
void GatherVerdicts(benchmark::State& state) {
    s_nSentBytes = 0;
    for (auto _ : state)
        GatherVerdict(RECEIVER, ACCEPTED);
    SendGatheredVerdicts(RECEIVER);
    tagQueueMsgBuffer buffer;
    const uint32_t nEach = MakeVerdict(buffer, RECEIVER, ACCEPTED)->nlmsg_len;
    Require(state, s_nSentBytes == nEach * static_cast<uint64_t>(state.iterations()), "verdicts are missing");
}
BENCHMARK(GatherVerdicts);

// Both records, and whose connection it is: told by the kernel, or looked for in this host's table.
void Report(benchmark::State& state, uint8_t bHasUid) {
    g_bReportBlocked = g_bReportModuleLoaded = 1;
    g_pfnInsertClientReportData = TakeTypedRecord;
    CopyText(g_szSessionUser, "anna");
    const auto pRequest = std::make_unique<tagWebRequest>();
    CopyText(pRequest->szCheckURL, "www.name.example/one/two/page.html?query=1");
    WidenText(pRequest->wszReportText, "The address is in the block list");
    pRequest->nResult = RESULT_BLOCK_HOST;
    Dissected packet(HTTPData());
    packet.info.bHasUid = bHasUid;
    packet.info.nUid = getuid();
    s_nRecords = 0;
    for (auto _ : state)
        WriteBlockReport(pRequest.get(), &packet.info);
    Require(state, s_nRecords == 2 * static_cast<uint64_t>(state.iterations()), "records are missing");
}
BENCHMARK_CAPTURE(Report, owner_looked_for, 0);
BENCHMARK_CAPTURE(Report, owner_told, 1);

void BuildReset(benchmark::State& state) {
    const Dissected packet(HTTPData());
    for (auto _ : state)
        benchmark::DoNotOptimize(BuildBlockReset(packet.info));
    const auto reset = BuildBlockReset(packet.info);
    const Bytes bytes(reset.begin(), reset.end());
    tagPacketInfo info = SlotOf(bytes);
    const bool bSound = ParseIPv4TCP(&info, std::make_unique<tagWebRequest>().get()) == 0;
    Require(state, bSound && info.nDstPort == packet.info.nSrcPort && info.nSeq == packet.info.nAck,
            "no reset for the client");
}
BENCHMARK(BuildReset);

}  // namespace

BENCHMARK_MAIN();
