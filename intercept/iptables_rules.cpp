#include "intercept/iptables_rules.h"

#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "common/traffic_counters.h"
#include "intercept/close_rules.h"
#include "intercept/live_rules.h"
#include "intercept/run_command.h"
#include "service/service_config.h"

#define TABS10 "\t\t\t\t\t\t\t\t\t\t"
#define TABS11 TABS10 "\t"

#define FTP_KEY "0x4&0x1FFF=0x0&&0x0>>0x16&0x3C@0xC>>0x1A&0x3C@0x0=0x52455452,0x43574420"
#define HTTP_KEY \
    "0x4&0x1FFF=0x0&&0x0>>0x16&0x3C@0xC>>0x1A&0x3C@0x0=0x47455420,0x434F4E4E,0x52455452,0x43574420"
#define TLS_KEY                                                                                 \
    "0x4&0x1fff=0x0&&0x0>>0x16&0x3c@0xc>>0x1a&0x3c@0x0&0xffffff00=0x16030000:0x16030300&&0x0>>" \
    "0x16&0x3c@0xc>>0x1a&0x3c@0x2&0xff=0x1"

#define FLAGS_MATCH "--tcp-flags ALL PSH,ACK "
#define U32_MATCH(key) FLAGS_MATCH "-m u32 --u32 \"" key "\" -j NFQUEUE --queue-num"

namespace {
constexpr size_t COMMAND_BYTES = 4096 + 1;
constexpr uint32_t OUTPUT_BYTES = 255;

// One way to write a group's rule, and what of it to look for (ignoring case) in the chain's listing.
struct tagRuleText {
    const char* szMatch;
    const char* szCheckKey;
};

struct tagRuleGroup {
    const char* szPorts;
    tagRuleText primary;   // first four bytes of the TCP data, found through both header lengths
    tagRuleText fallback;  // the same words anywhere behind the headers
};

const tagRuleGroup RULE_GROUPS[] = {
    {g_ServiceConfig.szFTPPorts,
     {U32_MATCH(FTP_KEY), FTP_KEY},
     {FLAGS_MATCH TABS10 "-m string --hex-string '|52455452|' " TABS10
                         "--from 40 --algo bm  -j NFQUEUE --queue-num",
      "RETR"}},
    {g_ServiceConfig.szHTTPPorts,
     {U32_MATCH(HTTP_KEY), HTTP_KEY},
     {FLAGS_MATCH TABS10 "-m string --hex-string '|485454502F|' " TABS10
                         "--from 40 --algo bm  -j NFQUEUE --queue-num",
      "HTTP/"}},
    {g_ServiceConfig.szHTTPSPorts,
     {U32_MATCH(TLS_KEY), TLS_KEY},
     {FLAGS_MATCH TABS11 "-m string --hex-string '|1603|' " TABS11
                         "--from 40 --to 122 --algo bm  -j NFQUEUE --queue-num ",
      "1603"}},
};

uint32_t ApplyRuleText(const tagRuleGroup& group, const tagRuleText& text, uint32_t nMode);
void RemoveFallback(const tagRuleGroup& group);
uint32_t Run(char (&szOutput)[OUTPUT_BYTES], const char* szFormat, ...) __attribute__((format(printf, 2, 3)));
}  // namespace

int ManageIptableRules(uint32_t nMode) {
    for (const tagRuleGroup& group : RULE_GROUPS) {
        const uint32_t nStatus = ApplyRuleText(group, group.primary, nMode);
        // The primary goes first: its listing may also contain the fallback's key.
        if (nStatus != 0) {
            (void)ApplyRuleText(group, group.fallback, nMode);
        } else if (nMode == RULE_REMOVE) {
            RemoveFallback(group);
        }
    }
    // Behind the plain rules: a rule that was put back stands above the jump then, which moves it up again.
    if (g_bLiveTraffic == 1) ManageLiveRules(nMode);
    if (g_bCloseBypasses == 1) ManageCloseRules(nMode);
    return 0;
}

void RemoveLeftChains() {
    if (access(TRAFFIC_PAGE_FILE, F_OK) != 0) return;
    if (g_bCloseBypasses != 1) ManageCloseRules(RULE_REMOVE);
    if (g_bLiveTraffic == 1) return;
    ManageLiveRules(RULE_REMOVE);
    (void)unlink(TRAFFIC_PAGE_FILE);
}

uint32_t ApplyIptableRule(const char* szRuleText, const char* szCheckKey, uint32_t nMode) {
    if (!szRuleText || !szCheckKey) return 1;
    const tagServiceConfig& config = g_ServiceConfig;
    const char* szBinary = config.szIptablesPath;
    const char* szChain = config.szIptableChain;
    const char* szTable = config.szIptableTable;

    char szOutput[OUTPUT_BYTES] = "";
    const uint32_t nStatus =
        Run(szOutput, "%s -n -L %s -t %s | grep -i \"%s\" | wc -l", szBinary, szChain, szTable, szCheckKey);
    const auto nCount = static_cast<uint32_t>(std::atoi(szOutput));
    if (nStatus != 0) return nStatus;

    if (nCount == 0 && nMode == RULE_ADD) {
        return Run(szOutput, "%s -I %s -t %s %s", szBinary, szChain, szTable, szRuleText);
    }
    if (nCount == 1 && nMode == RULE_REMOVE) {
        return Run(szOutput, "%s -D %s -t %s %s", szBinary, szChain, szTable, szRuleText);
    }
    if (nCount > 1) return Run(szOutput, "%s -F %s -t %s", szBinary, szChain, szTable);
    return nStatus;
}

namespace {
uint32_t ApplyRuleText(const tagRuleGroup& group, const tagRuleText& text, uint32_t nMode) {
    char szRule[COMMAND_BYTES];
    const auto nQueueNum = static_cast<int>(g_ServiceConfig.nQueueNum);
    if (g_ServiceConfig.bUseDefinedPorts == 0) {
        std::snprintf(szRule, sizeof szRule, "-p tcp %s %d", text.szMatch, nQueueNum);
    } else {
        std::snprintf(szRule, sizeof szRule, "-p tcp --match multiport --dports %s %s %d", group.szPorts,
                      text.szMatch, nQueueNum);
    }
    return ApplyIptableRule(szRule, text.szCheckKey, nMode);
}

// Nothing hints at the rule here, and its key is a common word: other rules that contain it twice would empty
// the chain. So it is looked for together with the queue it leads to.
void RemoveFallback(const tagRuleGroup& group) {
    char szKey[64];
    std::snprintf(szKey, sizeof szKey, "%s.* NFQUEUE num %d", group.fallback.szCheckKey,
                  static_cast<int>(g_ServiceConfig.nQueueNum));
    (void)ApplyRuleText(group, {group.fallback.szMatch, szKey}, RULE_REMOVE);
}

// The exit status of the command; 0, with the output left as it was, when it cannot be started.
uint32_t Run(char (&szOutput)[OUTPUT_BYTES], const char* szFormat, ...) {
    char szCommand[COMMAND_BYTES];
    va_list arguments;
    va_start(arguments, szFormat);
    std::vsnprintf(szCommand, sizeof szCommand, szFormat, arguments);
    va_end(arguments);
    uint32_t nStatus = 0;
    (void)RunCommand(szCommand, szOutput, sizeof szOutput, &nStatus);
    return nStatus;
}
}  // namespace
