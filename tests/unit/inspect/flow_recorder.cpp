#include "tests/unit/inspect/flow_recorder.h"

#include <arpa/inet.h>
#include <linux/netfilter.h>

#include <cstdlib>
#include <cstring>

#include "block/block_reset.h"
#include "category/category_server_client.h"
#include "category/category_server_protocol.h"
#include "category/webcat_library.h"
#include "inspect/web_request.h"
#include "intercept/packet_info.h"
#include "policy/url_scanner.h"
#include "report/report_module.h"
#include "report/report_records.h"

tagFlowRecorder g_Flow;

namespace {

constexpr int SERVER_ID_BASE = 1000;
std::string s_Reply;  // what is left of the server's

int ScanForPhishing(const char* szURL) {
    g_Flow.trace += 'p';
    g_Flow.scannedURL = szURL;
    return (g_Flow.nFindings & FOUND_PHISHING) != 0;
}

int ScanForHarm(const char*, char* szThreat) {
    g_Flow.trace += 'b';
    std::strcpy(szThreat, "Threat.A");
    return (g_Flow.nFindings & FOUND_HARMFUL) != 0;
}

int AnswerFromLibrary(char cLetter, unsigned short* pCategories, unsigned short* pCount) {
    g_Flow.trace += cLetter;
    pCategories[0] = 17;
    pCategories[1] = static_cast<unsigned short>(std::abs(g_Flow.nCategory));
    *pCount = 2;
    return g_Flow.nCategory < 0 ? 1 : 0;
}

uint8_t GiveSettings(tagClientSettingData* pSettings, uint32_t*) {
    g_Flow.trace += 'l';
    if (!g_Flow.pfnSettings) return 0;
    pSettings->nReportBlocked = 1;
    g_Flow.pfnSettings(*pSettings);
    return 1;
}

int RecordTypedReport(int nType, void* pRecord, uint32_t*) {
    g_Flow.trace += 'R';
    tagRecordedReports& reports = g_Flow.reports;
    if (nType == REPORT_BLOCK) {
        const auto* pBlock = static_cast<const ReportRecordBlock*>(pRecord);
        reports.nResult = pBlock->nResult;
        reports.text = pBlock->wszReportText;
        reports.name = pBlock->wszCategoryName;
        return 0;
    }
    reports.nResult = nType == REPORT_HARMFUL ? RESULT_HARMFUL : RESULT_FRAUDULENT;
    reports.text = static_cast<const ReportRecordThreat*>(pRecord)->wszReportText;
    if (nType == REPORT_HARMFUL)
        reports.threat = static_cast<const ReportRecordHarmful*>(pRecord)->wszThreatName;
    return 0;  // failed: the flow does not care
}

}  // namespace

void BindRecorder() {
    g_bReportModuleLoaded = g_bURLScannerLoaded = 1;
    g_pfnInsertClientReportData = RecordTypedReport;
    g_pfnGetClientAllSettingData = GiveSettings;
    g_pfnScanURLForAPSH = ScanForPhishing;
    g_pfnScanURLForBP = ScanForHarm;
}

void UnbindRecorder() {
    g_bReportModuleLoaded = g_bURLScannerLoaded = 0;
    g_pfnInsertClientReportData = nullptr;
    g_pfnGetClientAllSettingData = nullptr;
    g_pfnScanURLForAPSH = nullptr;
    g_pfnScanURLForBP = nullptr;
}

extern "C" {
uint8_t InsertClientReportData(uint32_t, const void* pRecord, uint32_t*) {
    g_Flow.trace += 'r';
    const auto* pClient = static_cast<const ClientReportRecord*>(pRecord);
    g_Flow.reports.nCategory = pClient->nCategory;
    g_Flow.reports.clientName = pClient->wszName;
    return 0;
}
}

void CategoryServerClient::SetHost(std::string_view) {}

// The reply lies ready.
bool CategoryServerClient::Connect() {
    g_Flow.trace += 's';
    const std::string text = std::to_string(SERVER_ID_BASE + std::abs(g_Flow.nCategory));
    const CategoryReply head = {g_Flow.nCategory < 0 ? 1u : CATSERVER_STATUS_OK, text.size()};
    s_Reply.assign(reinterpret_cast<const char*>(&head), sizeof head).append(text);
    return true;
}

bool CategoryServerClient::Write(const void*, size_t) {
    return true;
}

ssize_t CategoryServerClient::Read(void* pBuffer, size_t nBytes) {
    s_Reply.copy(static_cast<char*>(pBuffer), nBytes);
    s_Reply.erase(0, nBytes);
    return static_cast<ssize_t>(nBytes);
}

void CategoryServerClient::Close() {}

int SendBlockReset(const tagPacketInfo* pPacket) {
    g_Flow.trace += pPacket->nVerdict == NF_ACCEPT ? 'X' : '!';
    return -1;
}

int WCGetURLCategories(const char*, const char*, unsigned short* pCategories, unsigned short* pCount) {
    return AnswerFromLibrary('c', pCategories, pCount);
}

int WCGetKVURLCategories(const char*, const char*, unsigned short* pCategories, unsigned short* pCount) {
    return AnswerFromLibrary('k', pCategories, pCount);
}

int ConvertFromRealToLogical(unsigned short nReal, unsigned short* pLogical) {
    *pLogical = static_cast<unsigned short>(nReal - SERVER_ID_BASE);
    return 0;
}
