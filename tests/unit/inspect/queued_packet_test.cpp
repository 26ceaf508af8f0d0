// Which packets lead to a request that is judged, and what becomes of them.
#include "inspect/queued_packet.h"

#include <arpa/inet.h>
#include <linux/netfilter.h>

#include "tests/support/client_hello_composer.h"
#include "tests/support/fake_kernel_queue.h"
#include "tests/support/packet_composer.h"
#include "tests/unit/inspect/flow_fixture.h"

namespace {

using QueuedPacket = DecisionFlow;

// With a scanner that finds fault with everything: what it is shown, and what passes it by.
TEST_F(QueuedPacket, WhichPacketsReachTheChecks) {
    Bytes spoiled = ComposePacket({.payload = Http("GET /p", "a.example")});
    spoiled.back() ^= 1;
    const auto http = [](const char* szRequest, const char* szHost) {
        return ComposePacket({.payload = Http(szRequest, szHost)});
    };
    const auto tls = [](const std::string& hello) {
        return ComposePacket({.nDstPort = 443, .payload = hello});
    };
    tagAddrRange range = {0xCB007100, htonl(0xFFFFFF00)};  // 203.0.113.0/24
    const struct {
        const char* szReason;
        Bytes packet;
        const char* szScanned;  // null: accepted unseen
    } rows[] = {
        {"HTTP", http("GET /p", "a.example:8080"), "a.example/p"},
        {"no Host line", ComposePacket({.payload = "GET /p HTTP/1.1\r\n\r\n"}), ""},
        {"this host", http("GET /p", "localhost"), nullptr},
        {"this host, no path", http("GET /", "localhost:8080"), nullptr},
        {"this host without the slash", http("CONNECT localhost:443", "localhost:443"), "localhost"},
        {"this host in capitals", http("GET /p", "LOCALHOST"), "LOCALHOST/p"},
        {"begins like this host", http("GET /p", "localhost.example"), "localhost.example/p"},
        {"TLS", tls(ClientHelloFor("a.example")), "a.example"},
        {"TLS to this host", tls(ClientHelloFor("localhost")), "localhost"},
        {"server name of two characters", tls(ClientHelloFor("ab")), "ab"},
        {"server name of one character", tls(ClientHelloFor("a")), nullptr},
        {"no server name", tls(ComposeClientHello()), nullptr},
        {"FTP", ComposePacket({.nDstPort = 21, .payload = "RETR f.zip\r\n"}), "198.51.100.20/f.zip"},
        {"none of the three", http("POST /p", "a.example"), nullptr},
        {"no TCP data", ComposePacket(), nullptr},
        {"bad TCP checksum", spoiled, nullptr},
        {"no payload attribute", {}, nullptr},
        {"excluded destination",
         ComposePacket({.szDstAddr = "203.0.113.9", .payload = Http("GET /p", "a.example")}), nullptr},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szReason);
        SetUp();
        SetSwitches("1000");
        g_Flow.nFindings = FOUND_PHISHING;
        g_ExcludedRanges = {1, &range};
        const tagPacketInfo info = Dispatch(fake_kernel::QueueMessage(PACKET_ID, row.packet));
        EXPECT_EQ(info.nPacketId, PACKET_ID);
        EXPECT_EQ(info.nVerdict, row.szScanned ? NF_DROP : NF_ACCEPT);
        EXPECT_EQ(g_Flow.trace, row.szScanned ? "pRrX" : "");
        EXPECT_EQ(g_Flow.scannedURL, row.szScanned ? row.szScanned : "");
        TearDown();
    }
}

// LiveTraffic 1 with b.example in the block list: the segments of one connection, and what becomes of each.
TEST_F(QueuedPacket, LiveTrafficJudgesWhatSingleSegmentsHide) {
    const std::string get = Http("GET /p", "b.example"), head = Http("HEAD /", "a.example");
    const std::string hello = LargeClientHelloFor("b.example"), harmless = LargeClientHelloFor("a.example");
    const std::string open = "GET / HTTP/1.1\r\nHost: a.example\r\n";
    const std::string padded = "b.example" + std::string(260, ' ');
    const struct {
        const char* szReason;
        std::vector<std::string> segments;
        const char* szVerdicts;  // a accepted, d dropped
        const char* szTrace;
    } rows[] = {
        {"whole", {get}, "d", "RrX"},
        {"another host", {Http("GET /p", "a.example")}, "a", "c"},
        {"an FTP word in the URL", {Http("GET /?x=RETR", "b.example")}, "d", "RrX"},
        {"blanks behind the host", {Http("GET /p", padded.c_str())}, "d", "RrX"},
        {"GET behind HEAD", {head + get}, "d", "cRrX"},
        {"GET behind HEAD, its rest later", {head + get.substr(0, 20), get.substr(20)}, "ad", "cRrX"},
        {"request line in two; reset again", {get.substr(0, 5), get.substr(5), "more"}, "add", "RrXX"},
        {"in a segment with the end of the headers", {open, "X: y\r\n\r\n" + get}, "ad", "cRrX"},
        {"allowed, then tunnelled", {harmless, "body"}, "aa", "c"},
        {"browser's hello", {hello.substr(0, 1448), hello.substr(1448)}, "dd", "RrXX"},
        {"name in the second segment", {hello.substr(0, 900), hello.substr(900)}, "ad", "RrX"},
    };
    uint16_t nPort = 1024;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szReason);
        SetUp();
        g_bLiveTraffic = 1;
        SetSwitches("0011");
        FillList(g_pBlockHostList, {"b.example"});
        ++nPort;
        uint32_t nSeq = 0xFFFFFF00;
        std::string verdicts;
        tagPacketInfo info{};
        for (const std::string& segment : row.segments) {
            info = Dispatch(fake_kernel::QueueMessage(
                PACKET_ID, ComposePacket({.nSrcPort = nPort, .nSeq = nSeq, .payload = segment})));
            nSeq += static_cast<uint32_t>(segment.size());
            verdicts += info.nVerdict == NF_ACCEPT ? 'a' : 'd';
        }
        EXPECT_EQ(verdicts, row.szVerdicts);
        EXPECT_EQ(g_Flow.trace, row.szTrace);
        EXPECT_EQ(info.nStreamMark, row.segments.back() == "body" ? STREAM_RELEASE : STREAM_KEEP);
        TearDown();
    }
    SetUp();
    g_bLiveTraffic = 1;
    tagAddrRange all{0, 0};
    g_ExcludedRanges = {1, &all};
    const Bytes excluded = ComposePacket({.payload = get});
    EXPECT_EQ(Dispatch(fake_kernel::QueueMessage(PACKET_ID, excluded)).nStreamMark, STREAM_RELEASE);
    TearDown();
}

}  // namespace
