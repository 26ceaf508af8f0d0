#include "service/read_config.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "common/product_paths.h"
#include "common/profile.h"
#include "service/inet_options.h"
#include "service/service_config.h"

tagServiceConfig g_ServiceConfig;
tagPortTable g_WebFilterPorts;
tagInetSettings g_InetSettings;
uint8_t g_bLiveTraffic;
uint8_t g_bCloseBypasses;

namespace {
constexpr char SECTION[] = "IPTABLEConfigurations";
constexpr char SERVICE_SECTION[] = "ServiceConfigurations";

constexpr char IPTABLES_PLACES[6][100] = {
    "/sbin/iptables", "/usr/sbin/iptables", "/usr/local/sbin/iptables",
    "/bin/iptables",  "/usr/bin/iptables",  "/usr/local/bin/iptables",
};

int ReadInt(const char* szKey, const char* szSection, const char* szFile) {
    unsigned int nError = 0;
    const int nValue = GetPrivateProfileInt(szSection, szKey, 0, szFile, &nError);
    return nError == 0 ? nValue : 0;
}

template <size_t N>
void ReadText(const char* szKey, const char* szDefault, char (&szOut)[N], const char* szFile) {
    unsigned int nError = 0;
    (void)GetPrivateProfileString(SECTION, szKey, szDefault, szOut, N, szFile, &nError);
}

// Appends ",PORT" to all three lists; a list in which it would not fit stays as it is.
void AppendPort(uint16_t nPort) {
    char szText[8];
    const int nLength = std::snprintf(szText, sizeof szText, ",%d", nPort);
    const auto append = [&](auto& szList) {
        const size_t nUsed = std::strlen(szList);
        if (nUsed + static_cast<size_t>(nLength) < sizeof szList) std::strcpy(szList + nUsed, szText);
    };
    append(g_ServiceConfig.szHTTPPorts);
    append(g_ServiceConfig.szHTTPSPorts);
    append(g_ServiceConfig.szFTPPorts);
}

void AppendExtraPorts() {
    FreePortTable(g_WebFilterPorts);
    if (ReadPortFile(EXTRA_PORT_FILE, &g_WebFilterPorts) != 0) return;
    for (uint16_t i = 0; i < g_WebFilterPorts.nCount; ++i)
        AppendPort(g_WebFilterPorts.pRecords[i].nPort);
    const auto blankFirstComma = [](char* szList) {
        if (szList[0] == ',') szList[0] = ' ';
    };
    blankFirstComma(g_ServiceConfig.szHTTPPorts);
    blankFirstComma(g_ServiceConfig.szHTTPSPorts);
    blankFirstComma(g_ServiceConfig.szFTPPorts);
}

void AppendInetOptionsPort() {
    g_InetSettings = {};
    if (ReadInetOptions(INET_OPTIONS_FILE, &g_InetSettings) != 1) return;
    if (g_InetSettings.bUsePort == 1) AppendPort(g_InetSettings.nPort);
}
}  // namespace

int ReadServiceConfig() {
    tagServiceConfig& config = g_ServiceConfig;
    config = {};
    if (FindIptablesPath(config.szIptablesPath, sizeof config.szIptablesPath) != 0) return CONFIG_NO_IPTABLES;

    ReadRuleKeys(SERVICE_CONFIG_FILE);
    if (config.bUseDefinedPorts == 0) return 0;
    AppendExtraPorts();
    AppendInetOptionsPort();
    return 0;
}

void ReadRuleKeys(const char* szFile) {
    tagServiceConfig& config = g_ServiceConfig;
    config.nQueueNum = static_cast<uint32_t>(ReadInt("queueNum", SECTION, szFile));
    ReadText("iptableChain", "POSTROUTING", config.szIptableChain, szFile);
    ReadText("iptableTable", "mangle", config.szIptableTable, szFile);
    config.bUseDefinedPorts = static_cast<uint8_t>(ReadInt("UseDefinedPorts", SECTION, szFile));
    if (config.bUseDefinedPorts == 0) return;
    ReadText("HTTPPorts", "80", config.szHTTPPorts, szFile);
    ReadText("HTTPSPorts", "443", config.szHTTPSPorts, szFile);
    ReadText("FTPPorts", "21", config.szFTPPorts, szFile);
}

void ReadLiveTraffic() {
    g_bLiveTraffic = ReadInt("LiveTraffic", SERVICE_SECTION, SERVICE_CONFIG_FILE) == 1;
    g_bCloseBypasses = ReadInt("CloseBypasses", SERVICE_SECTION, SERVICE_CONFIG_FILE) == 1;
}

int FindIptablesPath(char* szOut, uint32_t nSize) {
    if (!szOut) return 2;
    for (const char* szPlace : IPTABLES_PLACES) {
        if (access(szPlace, F_OK) != 0) continue;
        std::memset(szOut, 0, nSize);
        std::memcpy(szOut, szPlace, std::min<size_t>(std::strlen(szPlace), nSize));
        return 0;
    }
    return 1;
}
