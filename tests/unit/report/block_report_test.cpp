#include "report/block_report.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <time.h>

#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "common/system_time.h"
#include "policy/policy_switches.h"
#include "report/report_module.h"
#include "report/report_time.h"
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

uint32_t NumberAt(const tagSentRecord& record, size_t nOffset) {
    uint32_t nValue = 0;
    std::memcpy(&nValue, record.bytes.data() + nOffset, sizeof nValue);
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

class BlockReport : public testing::Test {
  protected:
    BlockReport() {
        g_Sent.clear();
        setenv("TZ", "XXX-05:30", 1);  // the local time is nobody else's
        tzset();
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
        unsetenv("TZ");
    }

    uint32_t Write(uint32_t nResult) {
        tagPacketInfo packet{};  // of no connection of this host
        g_Sent.clear();
        request_.nResult = nResult;
        return WriteBlockReport(&request_, &packet);
    }

    tagWebRequest request_{};
};

void ExpectPresent(time_t nTime) {
    EXPECT_NEAR(static_cast<double>(nTime), static_cast<double>(time(nullptr)), 5);
}

void ExpectPresentTime(const std::u16string& szTime) {
    const std::string szNarrow(szTime.begin(), szTime.end());
    tm parsed{};
    const char* pEnd = strptime(szNarrow.c_str(), "%d-%b-%Y %H:%M:%S", &parsed);
    ASSERT_TRUE(pEnd && *pEnd == '\0') << szNarrow;
    parsed.tm_isdst = -1;
    ExpectPresent(mktime(&parsed));
}

TEST_F(BlockReport, EveryBlockHasATypedAndAClientRecord) {
    const struct {
        uint32_t nResult, nType;
        const char16_t* szName;
        uint32_t nCategory;
    } cases[] = {
        {4, 1, u"Custom blocked", 0}, {5, 1, u"Custom blocked", 0}, {6, 1, u"Games", 0x01020304},
        {7, 6, u"Phishing", 3},       {8, 5, u"Malicious", 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.nResult);
        ASSERT_EQ(Write(c.nResult), 0u);
        ASSERT_EQ(g_Sent.size(), 2u);
        const tagSentRecord& typed = g_Sent[0];
        EXPECT_EQ(typed.nType, c.nType);
        if (c.nType == 1) {
            ExpectPresentTime(TextAt(typed, 0, 516));
            EXPECT_EQ(TextAt(typed, 516, 200), u"anna");
            EXPECT_EQ(TextAt(typed, 716, 2048), u"b\xFFE9.example/a");
            EXPECT_EQ(TextAt(typed, 2764, 512), c.nResult == 6 ? u"Games" : u"");
            EXPECT_EQ(NumberAt(typed, 3276), c.nCategory);
            EXPECT_EQ(NumberAt(typed, 3280), c.nResult);
            EXPECT_EQ(TextAt(typed, 3284, 1024), u"since \x20AC");
            EXPECT_EQ(TextAt(typed, 4308, 32), u"Blocked");
        } else {
            EXPECT_EQ(NumberAt(typed, 0), 0u);
            ExpectPresentTime(TextAt(typed, 4, 512));
            EXPECT_EQ(TextAt(typed, 516, 1024), u"since \x20AC");
            EXPECT_EQ(TextAt(typed, 1540, 32), u"Blocked");
            EXPECT_EQ(TextAt(typed, 1572, 200), u"anna");
            EXPECT_EQ(TextAt(typed, 1772, 2048), u"b\xFFE9.example/a");
        }
        const tagSentRecord& client = g_Sent[1];
        EXPECT_EQ(client.nType, 3u);
        tagSYSTEMTIME sent;
        std::memcpy(&sent, client.bytes.data(), sizeof sent);
        tm local{};
        local.tm_isdst = -1;
        ExpectPresent(mktime(SystemTimeToTm(&sent, &local)));
        EXPECT_EQ(sent.wMilliseconds, 0);
        EXPECT_EQ(TextAt(client, 16, 2048), u"b\xFFE9.example/a");
        EXPECT_EQ(TextAt(client, 2064, 200), c.szName);
        EXPECT_EQ(NumberAt(client, 2264), c.nCategory);
        EXPECT_EQ(TextAt(client, 2268, 510), u"anna");
    }
    EXPECT_EQ(TextAt(g_Sent[0], 3820, 512), u"Trojan\xFFFF");
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

void ReportFromAWorker(char cURL) {
    tagWebRequest request{};
    std::memset(request.szCheckURL, cURL, 500);
    request.nResult = RESULT_HARMFUL;
    tagPacketInfo packet{};
    for (int i = 0; i < 20; ++i) {
        if (i == 19) pthread_cancel(pthread_self());
        WriteBlockReport(&request, &packet);
    }
}

// Also a worker that is told to end in the middle of a report still delivers it, and ends afterwards.
TEST_F(BlockReport, WorkersReportAtOnceWithoutMixingTheirRecords) {
    // Nothing on the stack of what is cancelled: a sanitizer would not see that it is left.
    const auto work = [](void* pURL) -> void* {
        ReportFromAWorker(*static_cast<char*>(pURL));
        pthread_testcancel();
        return nullptr;
    };
    char urls[] = {'a', 'b', 'c', 'd'};
    pthread_t workers[4];
    for (size_t i = 0; i < 4; ++i)
        ASSERT_EQ(pthread_create(&workers[i], nullptr, work, &urls[i]), 0);
    for (const pthread_t worker : workers) {
        void* pResult = nullptr;
        pthread_join(worker, &pResult);
        EXPECT_EQ(pResult, PTHREAD_CANCELED);
    }
    ASSERT_EQ(g_Sent.size(), 4u * 20 * 2);
    for (const tagSentRecord& record : g_Sent) {
        const std::u16string szURL = TextAt(record, record.nType == 3 ? 16 : 1772, 2048);
        EXPECT_EQ(szURL, std::u16string(500, szURL[0]));
    }
}

TEST(ReportTime, ATextThatDoesNotFitIsNull) {
    char szText[21];
    EXPECT_EQ(FormatReportTime(szText, 20, "%d-%b-%Y %H:%M:%S"), nullptr) << "no room for the terminator";
    EXPECT_EQ(FormatReportTime(szText, 21, "%d-%b-%Y %H:%M:%S"), szText);
}

}  // namespace
