// The decision flow from the queue message to the verdict. The scanner, the category lookup, both report
// stores and the reset are stand-ins that write down when they are asked.
#include "inspect/decision_flow.h"

#include <arpa/inet.h>
#include <linux/netfilter.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "block/block_reset.h"
#include "category/category_engine.h"
#include "category/category_lookup.h"
#include "category/translate.h"
#include "intercept/queue_attributes.h"
#include "policy/url_scanner.h"
#include "report/report_module.h"
#include "report/report_records.h"
#include "tests/support/client_hello_composer.h"
#include "tests/support/fake_kernel_queue.h"
#include "tests/support/packet_composer.h"
#include "tests/support/policy_fixture.h"

namespace {

constexpr uint32_t PACKET_ID = 77;

// What was asked, in order: p and b the phishing and harmful-site scan, c the category lookup, R and r the
// typed and the client report, X the reset while the verdict still stood at accept.
std::string g_Trace;
std::string g_ScannedURL;

uint32_t g_nFinding;  // what the scanner says
int g_nCategory;      // what the lookup finds, behind one that is not blocked; negative: and fails

struct tagTypedReport {
    uint32_t nResult;
    std::u16string text;
    bool bNamesCategory;
} g_Report;

int ScanForPhishing(const char* szURL) {
    g_Trace += 'p';
    g_ScannedURL = szURL;
    return g_nFinding == RESULT_FRAUDULENT;
}

int ScanForHarm(const char*, char*) {
    g_Trace += 'b';
    return g_nFinding == RESULT_HARMFUL;
}

int RecordTypedReport(int nType, void* pRecord, uint32_t*) {
    g_Trace += 'R';
    if (nType == REPORT_BLOCK) {
        const auto* pBlock = static_cast<const ReportRecordBlock*>(pRecord);
        g_Report = {pBlock->nResult, pBlock->wszReportText, pBlock->wszCategoryName[0] != 0};
    } else {
        const uint32_t nResult = nType == REPORT_HARMFUL ? RESULT_HARMFUL : RESULT_FRAUDULENT;
        g_Report = {nResult, static_cast<const ReportRecordThreat*>(pRecord)->wszReportText, false};
    }
    return 0;  // failed: the flow does not care
}

// The reason that a report must give; categories of the server come without one.
std::u16string Reason(uint32_t nResult, uint8_t nEngine) {
    const char* szKey = nResult == RESULT_FRAUDULENT ? "ws_rpt_fradulanturl"
                        : nResult == RESULT_HARMFUL  ? "ws_rpt_harmfulurl"
                        : nResult == RESULT_CATEGORY ? "ws_rpt_categoryurl"
                                                     : "ws_rpt_blocklisturl";
    if (nResult == RESULT_CATEGORY && nEngine == CATENGINE_SERVER) return {};
    std::u16string text;
    for (const char* p = TranslateText(szKey); *p; ++p)
        text += static_cast<char16_t>(*p);
    return text;
}

}  // namespace

// Take the place of the client report store, the reset and the engine binding in this program.
extern "C" uint8_t InsertClientReportData(uint32_t, const void*, uint32_t*) {
    g_Trace += 'r';
    return 0;
}

int SendBlockReset(const tagPacketInfo* pPacket) {
    g_Trace += pPacket->nVerdict == NF_ACCEPT ? 'X' : '!';
    return -1;
}

int LookupURLCategories(tagWebRequest* pRequest) {
    g_Trace += 'c';
    const int nCategory = std::abs(g_nCategory);
    pRequest->nCategoryCount = 2;
    pRequest->nCategoryIds[0] = 17;
    pRequest->nCategoryIds[1] = static_cast<uint16_t>(nCategory);
    std::snprintf(pRequest->szCategories, sizeof pRequest->szCategories, "17,%d", nCategory);
    return g_nCategory < 0 ? -1 : 0;
}

namespace {

char s_Pattern[1][PATTERN_BYTES] = {"a.example/"};

class DecisionFlow : public PolicyTest {
  protected:
    void SetUp() override {
        g_Trace = g_ScannedURL = "";
        g_nFinding = RESULT_NONE;
        g_nCategory = 17;
        g_bReportBlocked = g_bReportModuleLoaded = g_bURLScannerLoaded = 1;
        g_pfnInsertClientReportData = RecordTypedReport;
        g_pfnScanURLForAPSH = ScanForPhishing;
        g_pfnScanURLForBP = ScanForHarm;
    }
    void TearDown() override {
        g_bReportModuleLoaded = g_bURLScannerLoaded = 0;
        g_pfnInsertClientReportData = nullptr;
        g_pfnScanURLForAPSH = nullptr;
        g_pfnScanURLForBP = nullptr;
        g_bUseCatServer = CATENGINE_LIBRARY;
        g_ExclusionPatterns = g_TrustedURLPatterns = {};
        g_ExcludedRanges = {};
        PolicyTest::TearDown();
    }
    // The letters of the switches that are on; a small letter sets one to 2, which is off.
    static void SetSwitches(std::string_view letters) {
        const auto valueOf = [&](char cLetter) -> uint8_t {
            if (letters.find(cLetter) != letters.npos) return 1;
            return letters.find(static_cast<char>(cLetter | 0x20)) != letters.npos ? 2 : 0;
        };
        g_bPhishingProtection = valueOf('P');
        g_bBrowsingProtection = valueOf('B');
        g_bWebCategoryFilter = valueOf('C');
        g_bCustomBlockList = valueOf('L');
    }
    // As a worker does it.
    static tagPacketInfo Dispatch(std::span<const uint8_t> message) {
        tagPacketInfo info{};
        EXPECT_EQ(RunQueueMessages(message.data(), message.size(), 0, OnQueuePacket, &info), MNL_CB_STOP);
        return info;
    }
};

std::string Http(const char* szRequest, const char* szHost) {
    return std::string(szRequest) + " HTTP/1.1\r\nHost: " + szHost + "\r\n\r\n";
}

// Where the site stands.
enum : unsigned { EXCL = 1, SITE = 2, PATTERN = 4, B_HOST = 8, B_URL = 16, A_HOST = 32, A_URL = 64 };

TEST_F(DecisionFlow, TheOrderOfTheChecks) {
    const uint8_t LIB = CATENGINE_LIBRARY, KV = CATENGINE_LIBRARY_KV, SERVER = CATENGINE_SERVER;
    const uint32_t PHISH = RESULT_FRAUDULENT, HARM = RESULT_HARMFUL, CATEGORY = RESULT_CATEGORY;
    const uint32_t HOST = RESULT_BLOCK_HOST, URL = RESULT_BLOCK_URL;
    const struct {
        const char* szReason;
        const char* szSwitches;
        unsigned nPlaces;
        uint32_t nFinding;
        int nCategory;
        uint8_t nEngine;
        const char* szAsked;
        uint32_t nBlocked;  // 0: accepted
    } rows[] = {
        {"nothing found", "PBCL", 0, 0, 17, LIB, "pbc", 0},
        {"excluded: nothing else counts", "PBL", EXCL | B_HOST, PHISH, 17, LIB, "", 0},
        {"phishing", "PBL", 0, PHISH, 17, LIB, "p", PHISH},
        {"harmful", "PBL", 0, HARM, 17, LIB, "pb", HARM},
        {"a finding comes before the block list", "PL", B_HOST, PHISH, 17, LIB, "p", PHISH},
        {"trusted site, though block-listed", "PL", SITE | B_HOST, PHISH, 17, LIB, "p", 0},
        {"trusted pattern, though block-listed", "PBL", PATTERN | B_URL, HARM, 17, LIB, "pb", 0},
        {"allowed, yet phishing", "PC", A_HOST, PHISH, 17, LIB, "p", PHISH},
        {"host block-listed", "L", B_HOST, 0, 17, LIB, "", HOST},
        {"URL block-listed", "PBCL", B_URL, 0, 17, LIB, "pb", URL},
        {"trusted, yet block-listed", "PL", SITE | PATTERN | B_HOST, 0, 17, LIB, "p", HOST},
        {"allowed, yet block-listed", "CL", A_HOST | A_URL | B_HOST, 0, 17, LIB, "", HOST},
        {"block list off", "PB", B_HOST, 0, 17, LIB, "pbc", 0},
        {"blocked category", "PBC", 0, 0, 50, LIB, "pbc", CATEGORY},
        {"blocked category, host allowed", "C", A_HOST, 0, 50, LIB, "c", 0},
        {"blocked category, URL allowed", "C", A_URL, 0, 50, LIB, "c", 0},
        {"blocked category, only trusted", "C", SITE | PATTERN, 0, 50, LIB, "c", CATEGORY},
        {"blocked category, filter off", "PB", 0, 0, 50, LIB, "pbc", 0},
        {"blocked category, filter 2 is off", "c", 0, 0, 50, LIB, "c", 0},
        {"lookup failed", "C", 0, 0, -50, LIB, "c", 0},
        {"category 2", "B", 0, 0, 2, LIB, "bc", HARM},
        {"category 3", "P", 0, 0, 3, KV, "pc", PHISH},
        {"category 2, other protection", "PbC", 0, 0, 2, LIB, "pc", 0},
        {"category 3, other protection", "BpC", 0, 0, 3, KV, "bc", 0},
        {"category 2, filter alone", "C", 0, 0, 2, LIB, "c", 0},
        {"category 2, trusted site", "B", SITE, 0, 2, KV, "bc", 0},
        {"category 3, trusted pattern", "P", PATTERN, 0, 3, LIB, "pc", 0},
        {"category 2, allowed", "BC", A_HOST, 0, 2, LIB, "bc", HARM},
        {"server: 2 is like any other", "BC", SITE, 0, 2, SERVER, "bc", CATEGORY},
        {"server: 3 needs the filter", "PB", 0, 0, 3, SERVER, "pbc", 0},
        {"server: 3 allowed", "PC", A_URL, 0, 3, SERVER, "pc", 0},
    };
    const auto message =
        fake_kernel::QueueMessage(PACKET_ID, ComposePacket({.payload = Http("GET /p", "a.example")}));
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szReason);
        SetUp();
        SetSwitches(row.szSwitches);
        g_nFinding = row.nFinding;
        g_nCategory = row.nCategory;
        g_bUseCatServer = row.nEngine;
        for (const uint16_t nId : {2, 3, 50})
            g_nBlockedCategories[g_nBlockedCategoryCount++] = nId;
        const tagPatternTable pattern = {1, s_Pattern};
        if (row.nPlaces & EXCL) g_ExclusionPatterns = pattern;
        if (row.nPlaces & PATTERN) g_TrustedURLPatterns = pattern;
        if (row.nPlaces & SITE) FillList(g_pTrustedSiteList, {"a.example/p"});
        if (row.nPlaces & B_HOST) FillList(g_pBlockHostList, {"a.example"});
        if (row.nPlaces & B_URL) FillList(g_pBlockURLList, {"a.example/p"});
        if (row.nPlaces & A_HOST) FillList(g_pAllowHostList, {"a.example"});
        if (row.nPlaces & A_URL) FillList(g_pAllowURLList, {"a.example/p"});

        const tagPacketInfo info = Dispatch(message);
        EXPECT_EQ(info.nPacketId, PACKET_ID);
        EXPECT_EQ(info.nVerdict, row.nBlocked ? NF_DROP : NF_ACCEPT);
        EXPECT_EQ(g_Trace, std::string(row.szAsked) + (row.nBlocked ? "RrX" : ""));
        if (row.nBlocked) {
            EXPECT_EQ(g_Report.nResult, row.nBlocked);
            EXPECT_EQ(g_Report.text, Reason(row.nBlocked, row.nEngine));
            EXPECT_EQ(g_Report.bNamesCategory, row.nEngine == SERVER) << "the library lists no names here";
        }
        TearDown();
    }
}

// With a scanner that finds fault with everything: what it is shown, and what passes it by.
TEST_F(DecisionFlow, WhichPacketsReachTheChecks) {
    const auto spoiled = [](size_t nOffset) {
        Bytes packet = ComposePacket({.payload = Http("GET /p", "a.example")});
        packet[nOffset] ^= 1;
        return packet;
    };
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
        {"bad IP checksum", spoiled(4), nullptr},
        {"bad TCP checksum", spoiled(44), nullptr},
        {"UDP", ComposePacket({.nProtocol = IPPROTO_UDP, .payload = Http("GET /p", "a.example")}), nullptr},
        {"no payload attribute", {}, nullptr},
        {"excluded destination",
         ComposePacket({.szDstAddr = "203.0.113.9", .payload = Http("GET /p", "a.example")}), nullptr},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szReason);
        SetUp();
        SetSwitches("P");
        g_nFinding = RESULT_FRAUDULENT;
        g_ExcludedRanges = {1, &range};
        const tagPacketInfo info = Dispatch(fake_kernel::QueueMessage(PACKET_ID, row.packet));
        EXPECT_EQ(info.nPacketId, PACKET_ID);
        EXPECT_EQ(info.nVerdict, row.szScanned ? NF_DROP : NF_ACCEPT);
        EXPECT_EQ(g_Trace, row.szScanned ? "pRrX" : "");
        EXPECT_EQ(g_ScannedURL, row.szScanned ? row.szScanned : "");
        TearDown();
    }
}

// A message that breaks off anywhere, and one whose packet does, passes.
TEST_F(DecisionFlow, CutMessagesPass) {
    SetSwitches("L");
    FillList(g_pBlockHostList, {"a.example"});
    const Bytes packet = ComposePacket({.payload = Http("GET /p", "a.example")});
    ASSERT_EQ(packet.size() % 4, 0u) << "no padding that could go missing";
    const auto whole = fake_kernel::QueueMessage(PACKET_ID, packet);
    for (size_t nKept = sizeof(nlmsghdr); nKept < whole.size(); ++nKept) {
        std::vector<uint8_t> cut = whole;  // what is missing still lies behind it
        const auto nLength = static_cast<uint32_t>(nKept);
        std::memcpy(cut.data(), &nLength, sizeof nLength);
        EXPECT_EQ(Dispatch(std::span(cut).first(nKept)).nVerdict, NF_ACCEPT) << nKept;
    }
    for (size_t nKept = 0; nKept < packet.size(); ++nKept) {
        const auto part = std::span(packet).first(nKept);
        EXPECT_EQ(Dispatch(fake_kernel::QueueMessage(PACKET_ID, part)).nVerdict, NF_ACCEPT) << nKept;
    }
    EXPECT_EQ(g_Trace, "");
    EXPECT_EQ(Dispatch(whole).nVerdict, NF_DROP);
}

}  // namespace
