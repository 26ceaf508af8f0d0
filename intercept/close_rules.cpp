#include "intercept/close_rules.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "intercept/iptables_rules.h"
#include "intercept/own_chains.h"
#include "intercept/port_list.h"
#include "service/service_config.h"

namespace {
constexpr char CLOSE[] = "WEBSEC_CLOSE";
constexpr const char* NAMES[] = {CLOSE};

tagChainsMade s_MadeIPv4, s_MadeIPv6;

void ManageFamily(const char* szIptables, const tagChainText& rules, tagChainsMade* pMade, uint32_t nMode);
tagChainText QuicRules(const char* szUnreachable);
void AppendTcpRules(tagChainText& rules);
bool FindIp6tables(char (&szPath)[512]);
bool HasWayOutOverIPv4();
}  // namespace

void ManageCloseRules(uint32_t nMode) {
    ManageFamily(g_ServiceConfig.szIptablesPath, QuicRules("icmp-port-unreachable"), &s_MadeIPv4, nMode);
    char szIp6tables[512];
    if (!FindIp6tables(szIp6tables)) return;
    tagChainText rules = QuicRules("icmp6-port-unreachable");
    if (HasWayOutOverIPv4()) AppendTcpRules(rules);
    ManageFamily(szIp6tables, rules, &s_MadeIPv6, nMode);
}

namespace {
void ManageFamily(const char* szIptables, const tagChainText& rules, tagChainsMade* pMade, uint32_t nMode) {
    const tagOwnChains chains{szIptables, "filter", "OUTPUT", "", NAMES};
    if (nMode == RULE_REMOVE) {
        RemoveOwnChains(chains);
    } else {
        (void)PutOwnChains(chains, rules, pMade);
    }
}

tagChainText QuicRules(const char* szUnreachable) {
    tagChainText rules{};
    AppendText(rules, "-A %s -o lo -j RETURN\n-A %s -p udp --dport 443 -j REJECT --reject-with %s\n", CLOSE,
               CLOSE, szUnreachable);
    return rules;
}

void AppendTcpRules(tagChainText& rules) {
    const tagServiceConfig& config = g_ServiceConfig;
    const char* const listed[] = {config.szHTTPPorts, config.szHTTPSPorts, config.szFTPPorts};
    const char* const usual[] = {"80", "443", "21"};
    for (const char* szPorts : config.bUseDefinedPorts != 0 ? listed : usual) {
        if (!IsPortList(szPorts)) continue;
        AppendText(rules, "-A %s -p tcp -m multiport --dports %s -j REJECT --reject-with tcp-reset\n", CLOSE,
                   szPorts);
    }
}

// Beside the binary for IPv4, and of its kind: iptables-legacy has ip6tables-legacy.
bool FindIp6tables(char (&szPath)[512]) {
    const char* szIptables = g_ServiceConfig.szIptablesPath;
    const char* pSlash = std::strrchr(szIptables, '/');
    const char* szName = pSlash ? pSlash + 1 : szIptables;
    if (std::strncmp(szName, "ip", 2) != 0) return false;
    std::snprintf(szPath, sizeof szPath, "%.*sip6%s", static_cast<int>(szName - szIptables), szIptables,
                  szName + 2);
    return access(szPath, X_OK) == 0;
}

// Whether the routes lead to the Internet; connecting a datagram socket sends nothing.
bool HasWayOutOverIPv4() {
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return false;
    sockaddr_in far{};
    far.sin_family = AF_INET;
    far.sin_port = htons(53);
    far.sin_addr.s_addr = htonl(0xC6290004);  // 198.41.0.4, a root name server
    const int nResult = connect(fd, reinterpret_cast<const sockaddr*>(&far), sizeof far);
    close(fd);
    return nResult == 0;
}
}  // namespace
