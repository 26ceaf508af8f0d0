#include "report/block_report.h"

#include <string.h>
#include <time.h>

#include <algorithm>

#include "category/translate.h"
#include "common/cancellation_off.h"
#include "common/copy_text.h"
#include "common/system_time.h"
#include "policy/policy_switches.h"
#include "report/connection_owner.h"
#include "report/report_module.h"
#include "report/report_records.h"
#include "report/report_time.h"
#include "report/session_user.h"

// clrptmod.so. Called from several threads at once.
extern "C" uint8_t InsertClientReportData(uint32_t nType, const void* pRecord, uint32_t* pStatus);

namespace {

// What both records of one block tell beside the request itself.
struct tagBlockFacts {
    tm local;
    char szTime[256];
    char szUser[512];
};

void CollectFacts(const tagPacketInfo* pPacket, tagBlockFacts& facts);
void SendTypedRecord(const tagWebRequest& request, const tagBlockFacts& facts);
void SendClientRecord(const tagWebRequest& request, const tagBlockFacts& facts);
void FillBlock(ReportRecordBlock& record, const tagWebRequest& request, const tagBlockFacts& facts);
void FillThreat(ReportRecordThreat& record, const tagWebRequest& request, const tagBlockFacts& facts);
void FillClient(ClientReportRecord& record, const tagWebRequest& request, const tagBlockFacts& facts);
void SetClientName(ClientReportRecord& record, const tagWebRequest& request);

// Copies the text of one wide field into another, cut to N - 1 units.
template <size_t N, size_t M>
void CopyWideText(char16_t (&wszTo)[N], const char16_t (&wszFrom)[M]) {
    const char16_t* pEnd = std::find(wszFrom, wszFrom + std::min(N - 1, M), u'\0');
    *std::copy(wszFrom, pEnd, wszTo) = u'\0';
}

}  // namespace

uint32_t WriteBlockReport(tagWebRequest* pRequest, tagPacketInfo* pPacket) {
    if (g_bReportBlocked == 0) return 6;
    // Files, memory and the stores' locks are held in here: a worker must not be cancelled among them.
    const CancellationOff cancellationOff;
    tagBlockFacts facts{};
    CollectFacts(pPacket, facts);
    if (g_bReportModuleLoaded == 1) SendTypedRecord(*pRequest, facts);
    SendClientRecord(*pRequest, facts);
    return 0;
}

uint16_t InsertReport(uint32_t nType, void* pRecord, uint32_t* pStatus) {
    return InsertClientReportData(nType, pRecord, pStatus);
}

namespace {

void CollectFacts(const tagPacketInfo* pPacket, tagBlockFacts& facts) {
    const time_t nNow = time(nullptr);
    localtime_r(&nNow, &facts.local);
    if (!FormatReportTime(facts.szTime, sizeof facts.szTime, "%d-%b-%Y %H:%M:%S")) facts.szTime[0] = '\0';
    GetConnectionOwner(facts.szUser, sizeof facts.szUser, pPacket);
    if (facts.szUser[0] == '\0') CopyText(facts.szUser, g_szSessionUser);
}

void SendTypedRecord(const tagWebRequest& request, const tagBlockFacts& facts) {
    uint32_t nStatus = 0;
    if (request.nResult == RESULT_HARMFUL) {
        ReportRecordHarmful record{};
        FillThreat(record.threat, request, facts);
        WidenText(record.wszThreatName, request.szThreatName);
        g_pfnInsertClientReportData(REPORT_HARMFUL, &record, &nStatus);
    } else if (request.nResult == RESULT_FRAUDULENT) {
        ReportRecordThreat record{};
        FillThreat(record, request, facts);
        g_pfnInsertClientReportData(REPORT_PHISHING, &record, &nStatus);
    } else {
        ReportRecordBlock record{};
        FillBlock(record, request, facts);
        g_pfnInsertClientReportData(REPORT_BLOCK, &record, &nStatus);
    }
}

void SendClientRecord(const tagWebRequest& request, const tagBlockFacts& facts) {
    uint32_t nStatus = 0;
    ClientReportRecord record{};
    FillClient(record, request, facts);
    InsertReport(REPORT_CLIENT, &record, &nStatus);
}

void FillBlock(ReportRecordBlock& record, const tagWebRequest& request, const tagBlockFacts& facts) {
    WidenText(record.wszTime, facts.szTime);
    WidenText(record.wszUser, facts.szUser);
    WidenText(record.wszURL, request.szCheckURL);
    if (request.nResult == RESULT_CATEGORY) {
        CopyWideText(record.wszCategoryName, request.wszCategoryName);
        record.nCategory = request.nCategory;
    }
    record.nResult = request.nResult;
    CopyWideText(record.wszReportText, request.wszReportText);
    WidenText(record.wszAction, TranslateText("Blocked"));
}

void FillThreat(ReportRecordThreat& record, const tagWebRequest& request, const tagBlockFacts& facts) {
    WidenText(record.wszTime, facts.szTime);
    CopyWideText(record.wszReportText, request.wszReportText);
    WidenText(record.wszAction, TranslateText("Blocked"));
    WidenText(record.wszUser, facts.szUser);
    WidenText(record.wszURL, request.szCheckURL);
}

void FillClient(ClientReportRecord& record, const tagWebRequest& request, const tagBlockFacts& facts) {
    tagSYSTEMTIME localTime{};
    TmToSystemTime(&facts.local, &localTime);
    static_assert(sizeof localTime == sizeof record.nLocalTime);
    memcpy(record.nLocalTime, &localTime, sizeof localTime);
    WidenText(record.wszURL, request.szCheckURL);
    SetClientName(record, request);
    WidenText(record.wszUser, facts.szUser);
}

void SetClientName(ClientReportRecord& record, const tagWebRequest& request) {
    switch (request.nResult) {
        case RESULT_CATEGORY:
            CopyWideText(record.wszName, request.wszCategoryName);
            record.nCategory = request.nCategory;
            break;
        case RESULT_FRAUDULENT:
            WidenText(record.wszName, TranslateText("Phishing"));
            record.nCategory = CATEGORY_PHISHING;
            break;
        case RESULT_HARMFUL:
            WidenText(record.wszName, TranslateText("Malicious"));
            record.nCategory = CATEGORY_HARMFUL;
            break;
        default:
            WidenText(record.wszName, TranslateText("Custom blocked"));
            break;
    }
}

}  // namespace
