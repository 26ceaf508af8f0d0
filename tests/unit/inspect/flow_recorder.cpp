#include "tests/unit/inspect/flow_recorder.h"

#include <linux/netfilter.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "block/block_reset.h"
#include "category/category_server_protocol.h"
#include "category/webcat_library.h"
#include "inspect/web_request.h"
#include "intercept/packet_info.h"
#include "policy/url_scanner.h"
#include "report/report_module.h"
#include "report/report_records.h"
#include "tests/support/sockets.h"

tagFlowRecorder g_Flow;

namespace {

constexpr int SERVER_ID_BASE = 1000;

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

// The reply lies ready before the request is sent: the server's end needs no thread.
int ConnectToServer(int nSocket) {
    static const int s_nListen = ListenOnLoopback();
    static const sockaddr_in s_Address = AddressOf("127.0.0.1", PortOf(s_nListen));
    static int s_nPeer = -1;
    g_Flow.trace += 's';
    const long nConnected = syscall(SYS_connect, nSocket, &s_Address, sizeof s_Address);
    const int nErrno = errno;
    if (s_nPeer >= 0) close(s_nPeer);
    s_nPeer = accept(s_nListen, nullptr, nullptr);
    const std::string text = std::to_string(SERVER_ID_BASE + std::abs(g_Flow.nCategory));
    const CategoryReply reply = {g_Flow.nCategory < 0 ? 1u : CATSERVER_STATUS_OK, text.size()};
    (void)send(s_nPeer, &reply, sizeof reply, MSG_NOSIGNAL | MSG_MORE);
    (void)send(s_nPeer, text.data(), text.size(), MSG_NOSIGNAL);
    errno = nErrno;
    return static_cast<int>(nConnected);
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

// The road to the category server's port.
int connect(int nSocket, const sockaddr* pAddress, socklen_t nLength) {
    sockaddr_in address = {};
    std::memcpy(&address, pAddress, std::min<size_t>(nLength, sizeof address));
    if (address.sin_family == AF_INET && address.sin_port == htons(CATSERVER_PORT))
        return ConnectToServer(nSocket);
    return static_cast<int>(syscall(SYS_connect, nSocket, pAddress, nLength));
}
}

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
