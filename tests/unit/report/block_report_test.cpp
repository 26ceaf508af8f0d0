#include "report/block_report.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <pthread.h>
#include <pwd.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "policy/policy_switches.h"
#include "report/report_module.h"
#include "report/session_user.h"

namespace {

struct tagSentRecord {
    uint32_t nType;
    std::vector<uint8_t> bytes;
};

std::mutex g_SentMutex;
std::vector<tagSentRecord> g_Sent;

// Keeps a record as a store of another maker would: as so many bytes.
void Keep(uint32_t nType, const void* pRecord, size_t nBytes) {
    const auto* pBytes = static_cast<const uint8_t*>(pRecord);
    const std::lock_guard lock(g_SentMutex);
    g_Sent.push_back({nType, {pBytes, pBytes + nBytes}});
}

int RecordTypedReport(int nType, void* pRecord, uint32_t* pStatus) {
    *pStatus = 1;
    Keep(static_cast<uint32_t>(nType), pRecord, nType == 5 ? 4332 : nType == 6 ? 3820 : 4340);
    return 1;
}

}  // namespace

// Takes the place of the client report store.
extern "C" uint8_t InsertClientReportData(uint32_t nType, const void* pRecord, uint32_t* pStatus) {
    *pStatus = 1;
    Keep(nType, pRecord, 2778);
    return 0xFE;
}

namespace {

uint32_t NumberAt(const tagSentRecord& record, size_t nOffset, size_t nBytes = 4) {
    uint32_t nValue = 0;
    std::memcpy(&nValue, record.bytes.data() + nOffset, nBytes);
    return nValue;
}

// The text in a field of nBytes; expects it to end inside and only zeroes behind it.
std::u16string TextAt(const tagSentRecord& record, size_t nOffset, size_t nBytes) {
    std::u16string szField(nBytes / 2, u'\0');
    std::memcpy(szField.data(), record.bytes.data() + nOffset, nBytes);
    const size_t nEnd = szField.find(u'\0');
    EXPECT_NE(nEnd, szField.npos) << "no terminator in the field at " << nOffset;
    EXPECT_EQ(szField.find_first_not_of(u'\0', nEnd), szField.npos) << "leftovers at " << nOffset;
    return szField.substr(0, nEnd);
}

tagPacketInfo PacketBetween(uint16_t nSrcPort, uint16_t nDstPort) {
    tagPacketInfo packet{};
    packet.nSrcPort = nSrcPort;
    packet.nDstPort = nDstPort;
    return packet;
}

// Ports that no connection of this host has.
const tagPacketInfo NO_CONNECTION = PacketBetween(0, 1);

class BlockReport : public testing::Test {
  protected:
    BlockReport() {
        g_Sent.clear();
        g_bReportBlocked = 1;
        g_bReportModuleLoaded = 1;
        g_pfnInsertClientReportData = RecordTypedReport;
        std::strcpy(g_szSessionUser, "anna");
        std::strcpy(request_.szCheckURL, "b\xE9.example/a");
        std::strcpy(request_.szURL, "http://not.this.one/");
        std::u16string(u"Games").copy(request_.wszCategoryName, 5);
        std::u16string(u"since \x20AC").copy(request_.wszReportText, 7);
        std::strcpy(request_.szThreatName, "Trojan\xFF");
        request_.nCategory = 0x01020304;
    }
    ~BlockReport() override {
        g_bReportBlocked = 0;
        g_bReportModuleLoaded = 0;
        g_pfnInsertClientReportData = nullptr;
        std::memset(g_szSessionUser, 0, sizeof g_szSessionUser);
    }

    uint32_t Write(uint32_t nResult, tagPacketInfo packet = NO_CONNECTION) {
        g_Sent.clear();
        request_.nResult = nResult;
        return WriteBlockReport(&request_, &packet);
    }

    tagWebRequest request_{};
};

void ExpectPresentTime(const std::u16string& szTime) {
    const std::string szNarrow(szTime.begin(), szTime.end());
    tm parsed{};
    const char* pEnd = strptime(szNarrow.c_str(), "%d-%b-%Y %H:%M:%S", &parsed);
    ASSERT_TRUE(pEnd && *pEnd == '\0') << szNarrow;
    parsed.tm_isdst = -1;
    EXPECT_NEAR(static_cast<double>(mktime(&parsed)), static_cast<double>(time(nullptr)), 5);
}

TEST_F(BlockReport, BlocksOfListsAndCategoriesAreType1) {
    for (const uint32_t nResult : {4u, 5u, 6u}) {
        ASSERT_EQ(Write(nResult), 0u);
        ASSERT_EQ(g_Sent.size(), 2u);
        const tagSentRecord& block = g_Sent[0];
        EXPECT_EQ(block.nType, 1u);
        ExpectPresentTime(TextAt(block, 0, 516));
        EXPECT_EQ(TextAt(block, 516, 200), u"anna");
        EXPECT_EQ(TextAt(block, 716, 2048), u"b\xFFE9.example/a");
        EXPECT_EQ(TextAt(block, 2764, 512), nResult == 6 ? u"Games" : u"");
        EXPECT_EQ(NumberAt(block, 3276), nResult == 6 ? 0x01020304u : 0u);
        EXPECT_EQ(NumberAt(block, 3280), nResult);
        EXPECT_EQ(TextAt(block, 3284, 1024), u"since \x20AC");
        EXPECT_EQ(TextAt(block, 4308, 32), u"Blocked");
    }
}

TEST_F(BlockReport, ScannerFindingsAreType5And6) {
    for (const uint32_t nResult : {7u, 8u}) {
        ASSERT_EQ(Write(nResult), 0u);
        ASSERT_EQ(g_Sent.size(), 2u);
        const tagSentRecord& threat = g_Sent[0];
        EXPECT_EQ(threat.nType, nResult == 8 ? 5u : 6u);
        EXPECT_EQ(NumberAt(threat, 0), 0u);
        ExpectPresentTime(TextAt(threat, 4, 512));
        EXPECT_EQ(TextAt(threat, 516, 1024), u"since \x20AC");
        EXPECT_EQ(TextAt(threat, 1540, 32), u"Blocked");
        EXPECT_EQ(TextAt(threat, 1572, 200), u"anna");
        EXPECT_EQ(TextAt(threat, 1772, 2048), u"b\xFFE9.example/a");
        if (nResult == 8) {
            EXPECT_EQ(TextAt(threat, 3820, 512), u"Trojan\xFFFF");
        }
    }
}

TEST_F(BlockReport, EveryBlockIsAlsoType3) {
    const struct {
        uint32_t nResult;
        const char16_t* szName;
        uint32_t nCategory;
    } cases[] = {
        {4, u"Custom blocked", 0}, {5, u"Custom blocked", 0}, {6, u"Games", 0x01020304},
        {7, u"Phishing", 3},       {8, u"Malicious", 2},
    };
    for (const auto& c : cases) {
        ASSERT_EQ(Write(c.nResult), 0u);
        ASSERT_EQ(g_Sent.size(), 2u);
        const tagSentRecord& client = g_Sent[1];
        EXPECT_EQ(client.nType, 3u);
        EXPECT_EQ(TextAt(client, 16, 2048), u"b\xFFE9.example/a");
        EXPECT_EQ(TextAt(client, 2064, 200), c.szName);
        EXPECT_EQ(NumberAt(client, 2264), c.nCategory);
        EXPECT_EQ(TextAt(client, 2268, 510), u"anna");
    }
}

TEST_F(BlockReport, Type3CarriesTheLocalTimeInNumbers) {
    ASSERT_EQ(Write(4), 0u);
    std::array<int, 8> units;
    for (size_t i = 0; i < 8; ++i)
        units[i] = static_cast<int>(NumberAt(g_Sent[1], i * 2, 2));
    const auto [nYear, nMonth, nWeekDay, nDay, nHour, nMinute, nSecond, nMilliseconds] = units;
    tm local{};
    local.tm_year = nYear - 1900;
    local.tm_mon = nMonth - 1;
    local.tm_mday = nDay;
    local.tm_hour = nHour;
    local.tm_min = nMinute;
    local.tm_sec = nSecond;
    local.tm_isdst = -1;
    EXPECT_NEAR(static_cast<double>(mktime(&local)), static_cast<double>(time(nullptr)), 5);
    EXPECT_EQ(local.tm_wday, nWeekDay);
    EXPECT_EQ(nMilliseconds, 0);
}

TEST_F(BlockReport, LongTextsAreCutInsideTheirFields) {
    std::memset(g_szSessionUser, 'u', 511);
    std::memset(request_.szCheckURL, 'c', 1023);
    std::fill_n(request_.wszCategoryName, 100, u'n');  // no terminator either
    std::fill_n(request_.wszReportText, 255, u'r');
    std::memset(request_.szThreatName, 't', 254);
    ASSERT_EQ(Write(6), 0u);
    EXPECT_EQ(TextAt(g_Sent[0], 516, 200), std::u16string(99, u'u'));
    EXPECT_EQ(TextAt(g_Sent[0], 716, 2048), std::u16string(1023, u'c'));
    EXPECT_EQ(TextAt(g_Sent[0], 2764, 512), std::u16string(100, u'n'));
    EXPECT_EQ(TextAt(g_Sent[0], 3284, 1024), std::u16string(255, u'r'));
    EXPECT_EQ(TextAt(g_Sent[1], 2064, 200), std::u16string(99, u'n'));
    EXPECT_EQ(TextAt(g_Sent[1], 2268, 510), std::u16string(254, u'u'));
    ASSERT_EQ(Write(8), 0u);
    EXPECT_EQ(TextAt(g_Sent[0], 3820, 512), std::u16string(254, u't'));
}

TEST_F(BlockReport, SwitchesDecideWhatIsWritten) {
    g_bReportModuleLoaded = 0;
    EXPECT_EQ(Write(8), 0u);
    ASSERT_EQ(g_Sent.size(), 1u) << "without the typed store, the client record alone";
    EXPECT_EQ(g_Sent[0].nType, 3u);

    g_bReportBlocked = 2;
    EXPECT_EQ(Write(4), 0u);
    EXPECT_EQ(g_Sent.size(), 1u) << "any value but 0 is on";

    g_bReportBlocked = 0;
    EXPECT_EQ(Write(4), 6u);
    EXPECT_TRUE(g_Sent.empty());
}

TEST_F(BlockReport, OwnerOfTheConnectionComesBeforeTheSessionUser) {
    const int nListener = socket(AF_INET, SOCK_STREAM, 0);
    const int nClient = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in server{};
    server.sin_family = AF_INET;
    server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sockaddr_in client{};
    socklen_t nSize = sizeof server;
    ASSERT_EQ(bind(nListener, reinterpret_cast<sockaddr*>(&server), nSize), 0);
    ASSERT_EQ(listen(nListener, 1), 0);
    ASSERT_EQ(getsockname(nListener, reinterpret_cast<sockaddr*>(&server), &nSize), 0);
    ASSERT_EQ(connect(nClient, reinterpret_cast<sockaddr*>(&server), nSize), 0);
    ASSERT_EQ(getsockname(nClient, reinterpret_cast<sockaddr*>(&client), &nSize), 0);

    const std::string szOwner = getpwuid(getuid())->pw_name;
    ASSERT_EQ(Write(4, PacketBetween(ntohs(client.sin_port), ntohs(server.sin_port))), 0u);
    EXPECT_EQ(TextAt(g_Sent[0], 516, 200), std::u16string(szOwner.begin(), szOwner.end()));
    EXPECT_EQ(TextAt(g_Sent[1], 2268, 510), std::u16string(szOwner.begin(), szOwner.end()));
    close(nClient);
    close(nListener);
}

TEST_F(BlockReport, WorkersReportAtOnceWithoutMixingTheirRecords) {
    std::vector<std::thread> workers;
    for (char cWorker = 'a'; cWorker < 'e'; ++cWorker) {
        workers.emplace_back([cWorker] {
            tagWebRequest request{};
            std::memset(request.szCheckURL, cWorker, 500);
            request.nResult = RESULT_HARMFUL;
            tagPacketInfo packet = NO_CONNECTION;
            for (int i = 0; i < 20; ++i)
                WriteBlockReport(&request, &packet);
        });
    }
    for (std::thread& worker : workers)
        worker.join();
    ASSERT_EQ(g_Sent.size(), 4u * 20 * 2);
    for (const tagSentRecord& record : g_Sent) {
        const std::u16string szURL = TextAt(record, record.nType == 3 ? 16 : 1772, 2048);
        EXPECT_EQ(szURL.size(), 500u);
        EXPECT_EQ(szURL.find_first_not_of(szURL[0]), szURL.npos);
    }
}

// A worker that is told to end in the middle of a report still delivers it, and ends afterwards.
TEST_F(BlockReport, CancellationWaitsForTheReport) {
    request_.nResult = RESULT_BLOCK_HOST;
    pthread_t worker;
    const auto work = [](void* pRequest) -> void* {
        pthread_cancel(pthread_self());
        tagPacketInfo packet = NO_CONNECTION;
        WriteBlockReport(static_cast<tagWebRequest*>(pRequest), &packet);
        pthread_testcancel();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&worker, nullptr, work, &request_), 0);
    void* pResult = nullptr;
    pthread_join(worker, &pResult);
    EXPECT_EQ(pResult, PTHREAD_CANCELED);
    EXPECT_EQ(g_Sent.size(), 2u);
}

TEST_F(BlockReport, ClientStoreAnswerIsWidenedUnsigned) {
    std::array<uint8_t, 2778> record{};
    uint32_t nStatus = 0;
    EXPECT_EQ(InsertReport(3, record.data(), &nStatus), 0xFE);
    EXPECT_EQ(nStatus, 1u);
}

}  // namespace
