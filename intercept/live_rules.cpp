#include "intercept/live_rules.h"

#include <atomic>

#include "intercept/iptables_rules.h"
#include "intercept/own_chains.h"
#include "intercept/port_list.h"
#include "intercept/stream_marks.h"
#include "service/service_config.h"

// The TCP data, found through both header lengths; not in a later fragment.
#define AT_DATA "0x0>>0x16&0x3C@0xC>>0x1A&0x3C@"
#define FIRST_FRAGMENT "0x4&0x1FFF=0x0&&"

#define FTP_WORDS "0x52455452,0x43574420"  // RETR, CWD
// GET, CONN, HEAD, POST, PUT, DELE, OPTI, PATC: with the two above as many as u32 can hold.
#define HTTP_WORDS                                                                   \
    FTP_WORDS                                                                        \
    ",0x47455420,0x434F4E4E,0x48454144,0x504F5354,0x50555420,0x44454C45,0x4F505449," \
    "0x50415443"

namespace {
constexpr char LIVE[] = "WEBSEC_LIVE";
constexpr char START[] = "WEBSEC_LIVE_START";    // for a segment that starts a request
constexpr char REPEAT[] = "WEBSEC_LIVE_REPEAT";  // for a packet with one of our marks
constexpr const char* NAMES[] = {LIVE, START, REPEAT};

// What tells the start of a request, and the port list that bounds it.
struct tagStart {
    const char* szPorts;
    const char* szKey;
};
constexpr tagStart STARTS[] = {
    {g_ServiceConfig.szFTPPorts, FIRST_FRAGMENT AT_DATA "0x0=" FTP_WORDS},
    {g_ServiceConfig.szHTTPPorts, FIRST_FRAGMENT AT_DATA "0x0=" HTTP_WORDS},
    {g_ServiceConfig.szHTTPSPorts,
     FIRST_FRAGMENT AT_DATA "0x0&0xFFFFFF00=0x16030000:0x16030300&&" AT_DATA "0x2&0xFF=0x1"},
};

tagChainsMade s_Made;
std::atomic<bool> s_bWatching{false};

void AppendRepeatRules(tagChainText& rules);
void AppendWatchRules(tagChainText& rules);
void AppendStartRules(tagChainText& rules, bool bTracking);
}  // namespace

void ManageLiveRules(uint32_t nMode) {
    const tagServiceConfig& config = g_ServiceConfig;
    const tagOwnChains chains{config.szIptablesPath, config.szIptableTable, config.szIptableChain, "-p tcp",
                              NAMES};
    if (nMode == RULE_REMOVE) {
        s_bWatching = false;
        RemoveOwnChains(chains);
        return;
    }
    bool bWatching = false;
    for (const bool bTracking : {true, false}) {
        tagChainText rules{};
        if (bTracking) {
            AppendRepeatRules(rules);
            AppendWatchRules(rules);
        }
        AppendStartRules(rules, bTracking);
        if (PutOwnChains(chains, rules, &s_Made) != 0) continue;
        bWatching = bTracking;
        break;
    }
    s_bWatching = bWatching;
}

bool AreConnectionsWatched() {
    return s_bWatching;
}

namespace {
void AppendRepeatRules(tagChainText& rules) {
    constexpr uint32_t WATCHED = STREAM_MARK_WATCHED;
    for (const uint32_t nMark : {STREAM_MARK_RELEASE, STREAM_MARK_WATCH})
        AppendText(rules, "-A %s -m mark --mark 0x%x/0x%x -j %s\n", LIVE, nMark, STREAM_MARK_BITS, REPEAT);
    AppendText(rules, "-A %s -m mark --mark 0x%x/0x%x -j CONNMARK --set-xmark 0x0/0x%x\n", REPEAT,
               STREAM_MARK_RELEASE, STREAM_MARK_BITS, WATCHED);
    AppendText(rules, "-A %s -m mark --mark 0x%x/0x%x -j CONNMARK --set-xmark 0x%x/0x%x\n", REPEAT,
               STREAM_MARK_WATCH, STREAM_MARK_BITS, WATCHED, WATCHED);
    AppendText(rules, "-A %s -j MARK --set-xmark 0x0/0x%x\n-A %s -j ACCEPT\n", REPEAT, STREAM_MARK_BITS,
               REPEAT);
}

// Data shows in PSH, which closes every write of a sender, or in four bytes behind the headers.
void AppendWatchRules(tagChainText& rules) {
    for (const char* szData : {"--tcp-flags PSH PSH", "-m u32 --u32 \"" AT_DATA "0x0=0x0:0xFFFFFFFF\""}) {
        AppendText(rules,
                   "-A %s -p tcp -m connmark --mark 0x%x/0x%x -m conntrack --ctdir ORIGINAL %s -j NFQUEUE "
                   "--queue-num %d\n",
                   LIVE, STREAM_MARK_WATCHED, STREAM_MARK_WATCHED, szData,
                   static_cast<int>(g_ServiceConfig.nQueueNum));
    }
}

// One rule that iptables does not take would take all others with it.
void AppendStartRules(tagChainText& rules, bool bTracking) {
    for (const auto& [szPorts, szKey] : STARTS) {
        if (g_ServiceConfig.bUseDefinedPorts == 0) {
            AppendText(rules, "-A %s -p tcp -m u32 --u32 \"%s\" -j %s\n", LIVE, szKey, START);
        } else if (IsPortList(szPorts)) {
            AppendText(rules, "-A %s -p tcp -m multiport --dports %s -m u32 --u32 \"%s\" -j %s\n", LIVE,
                       szPorts, szKey, START);
        }
    }
    if (bTracking) {
        AppendText(rules, "-A %s -j CONNMARK --set-xmark 0x%x/0x%x\n", START, STREAM_MARK_WATCHED,
                   STREAM_MARK_WATCHED);
    }
    AppendText(rules, "-A %s -j NFQUEUE --queue-num %d\n", START,
               static_cast<int>(g_ServiceConfig.nQueueNum));
}
}  // namespace
