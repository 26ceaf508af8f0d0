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
#include "report/report_records.h"
#include "report/report_time.h"
#include "report/session_user.h"

namespace {

// A record as it came to one of the two stores.
struct tagSentRecord {
    uint32_t nType;
    ReportRecordBlock block;
    ReportRecordHarmful threat;  // of phishing too, without a name then
    ClientReportRecord client;
};

std::mutex g_SentMutex;
std::vector<tagSentRecord> g_Sent;

void Keep(uint32_t nType, void* pField, const void* pRecord, size_t nBytes, tagSentRecord& sent) {
    sent.nType = nType;
    std::memcpy(pField, pRecord, nBytes);
    const std::lock_guard lock(g_SentMutex);
    g_Sent.push_back(sent);
}

int RecordTypedReport(int nType, void* pRecord, uint32_t* pStatus) {
    *pStatus = 1;
    tagSentRecord sent{};
    if (nType == REPORT_BLOCK) {
        Keep(REPORT_BLOCK, &sent.block, pRecord, sizeof sent.block, sent);
    } else {
        const bool bHarmful = nType == REPORT_HARMFUL;
        Keep(static_cast<uint32_t>(nType), &sent.threat, pRecord,
             bHarmful ? sizeof sent.threat : sizeof sent.threat.threat, sent);
    }
    return 1;
}

}  // namespace

// Takes the place of the client report store.
extern "C" uint8_t InsertClientReportData(uint32_t nType, const void* pRecord, uint32_t* pStatus) {
    *pStatus = 1;
    tagSentRecord sent{};
    Keep(nType, &sent.client, pRecord, sizeof sent.client, sent);
    return 0xFE;
}

namespace {

// The text of a field; expects it to end inside and only zeroes behind it.
template <size_t N>
std::u16string Text(const char16_t (&wszField)[N]) {
    const std::u16string field(wszField, N);
    const size_t nEnd = field.find(u'\0');
    EXPECT_NE(nEnd, field.npos);
    EXPECT_EQ(field.find_first_not_of(u'\0', nEnd), field.npos);
    return field.substr(0, nEnd);
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
        std::u16string(u"since \x20AC").copy(request_.wszReportText, 7);
        std::strcpy(request_.szThreatName, "Trojan\xFF");
        request_.wszCategoryName[0] = u'c';  // of no use but to a blocked category
        request_.nCategory = 50;
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

void ExpectPresent(tm local) {
    local.tm_isdst = -1;
    EXPECT_NEAR(static_cast<double>(mktime(&local)), static_cast<double>(time(nullptr)), 5);
}

void ExpectPresent(const std::u16string& szTime) {
    const std::string szNarrow(szTime.begin(), szTime.end());
    tm parsed{};
    const char* pEnd = strptime(szNarrow.c_str(), "%d-%b-%Y %H:%M:%S", &parsed);
    ASSERT_TRUE(pEnd && *pEnd == '\0') << szNarrow;
    ExpectPresent(parsed);
}

// Which record a result leads to and what its reason is called is seen in the order of the checks.
TEST_F(BlockReport, TellsWhoWhenAndWhat) {
    const std::u16string szURL = u"b\xFFE9.example/a", szReason = u"since \x20AC";
    ASSERT_EQ(Write(RESULT_BLOCK_URL), 0u);
    ASSERT_EQ(g_Sent.size(), 2u);
    const ReportRecordBlock& block = g_Sent[0].block;
    ExpectPresent(Text(block.wszTime));
    EXPECT_EQ(Text(block.wszUser), u"anna");
    EXPECT_EQ(Text(block.wszURL), szURL);
    EXPECT_EQ(Text(block.wszCategoryName), u"");
    EXPECT_EQ(block.nCategory, 0u);
    EXPECT_EQ(Text(block.wszReportText), szReason);
    EXPECT_EQ(Text(block.wszAction), u"Blocked");

    EXPECT_EQ(g_Sent[1].nType, uint32_t{REPORT_CLIENT});
    const ClientReportRecord& client = g_Sent[1].client;
    tagSYSTEMTIME sent;
    std::memcpy(&sent, client.nLocalTime, sizeof sent);
    tm local{};
    ExpectPresent(*SystemTimeToTm(&sent, &local));
    EXPECT_EQ(sent.wMilliseconds, 0);
    EXPECT_EQ(Text(client.wszURL), szURL);
    EXPECT_EQ(Text(client.wszUser), u"anna");

    ASSERT_EQ(Write(RESULT_HARMFUL), 0u);
    const ReportRecordThreat& threat = g_Sent[0].threat.threat;
    EXPECT_EQ(threat.nReserved, 0u);
    ExpectPresent(Text(threat.wszTime));
    EXPECT_EQ(Text(threat.wszReportText), szReason);
    EXPECT_EQ(Text(threat.wszAction), u"Blocked");
    EXPECT_EQ(Text(threat.wszUser), u"anna");
    EXPECT_EQ(Text(threat.wszURL), szURL);
    EXPECT_EQ(Text(g_Sent[0].threat.wszThreatName), u"Trojan\xFFFF");
}

TEST_F(BlockReport, LongTextsAreCutInsideTheirFields) {
    std::memset(g_szSessionUser, 'u', 511);
    std::memset(request_.szCheckURL, 'c', 1023);
    std::fill_n(request_.wszCategoryName, 100, u'n');  // no terminator either
    std::fill_n(request_.wszReportText, 255, u'r');
    std::memset(request_.szThreatName, 't', 254);
    ASSERT_EQ(Write(RESULT_CATEGORY), 0u);
    EXPECT_EQ(Text(g_Sent[0].block.wszUser), std::u16string(99, u'u'));
    EXPECT_EQ(Text(g_Sent[0].block.wszURL), std::u16string(1023, u'c'));
    EXPECT_EQ(Text(g_Sent[0].block.wszCategoryName), std::u16string(100, u'n'));
    EXPECT_EQ(Text(g_Sent[0].block.wszReportText), std::u16string(255, u'r'));
    EXPECT_EQ(Text(g_Sent[1].client.wszName), std::u16string(99, u'n'));
    EXPECT_EQ(Text(g_Sent[1].client.wszUser), std::u16string(254, u'u'));
    ASSERT_EQ(Write(RESULT_HARMFUL), 0u);
    EXPECT_EQ(Text(g_Sent[0].threat.wszThreatName), std::u16string(254, u't'));
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
        const std::u16string szURL =
            record.nType == REPORT_CLIENT ? Text(record.client.wszURL) : Text(record.threat.threat.wszURL);
        EXPECT_EQ(szURL, std::u16string(500, szURL[0]));
    }
}

TEST(ReportTime, ATextThatDoesNotFitIsNull) {
    char szText[21];
    EXPECT_EQ(FormatReportTime(szText, 20, "%d-%b-%Y %H:%M:%S"), nullptr) << "no room for the terminator";
    EXPECT_EQ(FormatReportTime(szText, 21, "%d-%b-%Y %H:%M:%S"), szText);
}

}  // namespace
