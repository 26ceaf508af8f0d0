// The sections of status about the running daemon: process, queue, rules.
#include <linux/capability.h>
#include <linux/netfilter/nfnetlink_queue.h>
#include <unistd.h>

#include "common/product_paths.h"
#include "ctl/config_check.h"
#include "ctl/queue_owner.h"
#include "ctl/rule_count.h"
#include "ctl/status.h"
#include "ctl/time_argument.h"
#include "intercept/receiver_thread.h"
#include "intercept/worker_thread.h"

namespace {

constexpr uint32_t RULE_GROUPS = 3;
// Main thread, receivers, workers and watchdog; the modules have more.
constexpr uint32_t DAEMON_THREADS = 1 + NUM_QUEUE_RECEIVERS + NUM_WORKER_THREADS + 1;

constexpr char START[] = "start it: systemctl start websec, or sudo /usr/libexec/websec/run-direct start";
constexpr char RESTART[] =
    "restart it: systemctl restart websec, or sudo pkill -TERM -x websec, and start it";

constexpr char MISSING_RULES[] =
    "websec puts missing rules back within a minute, a reload does not; to have them at once, ";
constexpr char MAKE_CHAIN[] = "sudo /usr/libexec/websec/own-chain make; websec's service does so each minute";

struct tagChannelFlag {
    uint32_t nFlag;
    const char* szWithout;  // what it means that the kernel refused it
};
constexpr tagChannelFlag CHANNEL_FLAGS[] = {
    {NFQA_CFG_F_GSO,
     "the kernel cuts packets to segments before websec sees them: large requests take longer to judge"},
    {NFQA_CFG_F_FAIL_OPEN, "the kernel drops what comes while its queue is full, instead of letting it pass"},
    {NFQA_CFG_F_UID_GID,
     "the kernel does not tell whose packets they are: of connections with the same ports the first one's "
     "user is reported"},
};

void AddProcess(tagStatus& status, const tagHost& host);
void JudgeProcess(tagStatus& status, const tagDaemonProcess& daemon);
void AddSettingsTime(tagStatus& status, const tagHost& host);
void JudgeQueue(tagStatus& status, tagHost& host, const std::vector<tagQueueOwner>& owners);
void JudgeLeftRules(tagStatus& status, const tagHost& host, const std::string& table, uint32_t nRules);
void JudgeRules(tagStatus& status, const tagHost& host, const std::string& table, uint32_t nRules,
                bool bLive);
void JudgeCloseChain(tagStatus& status, const tagHost& host);
bool IsKernelChain(const std::string& table, const std::string& chain);
bool HasCapability(const tagDaemonProcess& daemon, int nCapability);
std::string OwnerText(const tagQueueOwner& owner);

}  // namespace

void AddDaemon(tagStatus& status, tagHost& host) {
    if (!host.daemon) {
        status.rows.push_back({"daemon", "not running"});
        status.document["daemon"] = nullptr;
        status.Fail("websec is not running: nothing is blocked", START);
        return;
    }
    AddProcess(status, host);
    JudgeProcess(status, *host.daemon);
}

void AddQueue(tagStatus& status, tagHost& host) {
    const auto owners = FindQueueOwners();
    Json& document = status.document["queue"] = {{"number", host.nQueueNum}, {"owner", nullptr}};
    std::string text = std::to_string(host.nQueueNum) + ", read by nobody";
    for (const auto& owner : owners) {
        const tagBoundQueue& queue = owner.queue;
        if (queue.nQueueNum != host.nQueueNum) continue;
        document["owner"] = {{"name", owner.name}, {"pid", owner.pid}};
        document["packets"] = queue.nPackets;
        document["waiting"] = queue.nWaiting;
        document["dropped"] = uint64_t{queue.nQueueDropped} + queue.nSocketDropped;
        document["dropped_queue_full"] = queue.nQueueDropped;
        document["dropped_socket_full"] = queue.nSocketDropped;
        text = std::to_string(host.nQueueNum) + ", read by " + OwnerText(owner) + ", " +
               Counted(queue.nPackets, "packet") + ", " + std::to_string(queue.nWaiting) + " waiting, " +
               document["dropped"].dump() + " dropped";
    }
    status.rows.push_back({"queue", text});
    JudgeQueue(status, host, owners);
    if (!host.traffic) return;
    for (const auto& flag : CHANNEL_FLAGS) {
        if (((*host.traffic)[COUNT_CHANNEL_FLAGS] & flag.nFlag) == 0) status.Warn(flag.szWithout);
    }
}

void AddRules(tagStatus& status, tagHost& host) {
    if (geteuid() != 0) throw CtlError("only root can see the firewall rules; run websecctl as root");
    const std::string table = ListTable(host.table);
    const bool bChain = HasChain(table, host.chain);
    const std::string listing = bChain ? ListRules(host.table, host.chain) : "";
    const uint32_t nRules = CountQueueRules(listing, host.nServedQueueNum);
    const bool bLive = HasJump(listing, LIVE_CHAIN);
    status.document["rules"] = {
        {"table", host.table}, {"chain", host.chain}, {"count", nRules}, {"live", bLive}};
    status.rows.push_back({"rules", bChain ? std::to_string(nRules) + " in " + host.table + " " + host.chain +
                                                 (bLive ? std::string(", and the chain ") + LIVE_CHAIN : "")
                                           : "no chain " + host.chain + " in " + host.table});
    if (!host.daemon) {
        JudgeLeftRules(status, host, table, nRules);
    } else if (!bChain) {
        status.Fail("there is no chain " + host.chain + " in " + host.table + ": websec sees nothing",
                    MAKE_CHAIN);
    } else {
        JudgeRules(status, host, table, nRules, bLive);
    }
}

namespace {

void AddProcess(tagStatus& status, const tagHost& host) {
    const tagDaemonProcess& daemon = *host.daemon;
    status.document["daemon"] = {{"pid", daemon.pid}, {"threads", daemon.status.nThreads}};
    std::string text =
        "running (pid " + std::to_string(daemon.pid) + ", " + Counted(daemon.status.nThreads, "thread");
    if (const auto started = StartTime(daemon.pid)) {
        const int64_t nSeconds = *started / 1000;
        status.document["daemon"]["started"] = nSeconds;
        text += ", since " + LocalTimeText(nSeconds);
    }
    status.rows.push_back({"daemon", text + ")"});
    AddSettingsTime(status, host);
}

// Only a daemon with LiveTraffic 1 leaves word of it.
void AddSettingsTime(tagStatus& status, const tagHost& host) {
    Json& document = status.document["daemon"]["settings_loaded"] = nullptr;
    if (!host.traffic) return;
    const auto nLoaded = static_cast<int64_t>((*host.traffic)[COUNT_SETTINGS_TIME]);
    if (nLoaded == 0) {
        return status.Fail("websec has got no settings yet and blocks nothing",
                           "websecctl reload, once the store can be read");
    }
    document = nLoaded;
    status.rows.push_back({"last reload", "settings of " + LocalTimeText(nLoaded)});
}

void JudgeProcess(tagStatus& status, const tagDaemonProcess& daemon) {
    for (const pid_t pid : daemon.others) {
        status.Fail("another websec runs (pid " + std::to_string(pid) +
                        ") without the queue: when either ends, its rules go, or lose requests",
                    "end it");
    }
    if (daemon.status.cState == 'T') {
        status.Fail("websec is stopped and answers nothing",
                    "let it go on: kill -CONT " + std::to_string(daemon.pid));
    }
    if (daemon.status.nThreads != 0 && daemon.status.nThreads < DAEMON_THREADS) {
        status.Warn("websec has only " + Counted(daemon.status.nThreads, "thread") + ", " +
                        std::to_string(DAEMON_THREADS) + " should",
                    "websecctl reload starts workers that have ended anew");
    }
    if (HasLoaded(daemon, REPORT_MODULE_FILE) == false) {
        status.Fail("websec has not loaded " + std::string(REPORT_MODULE_FILE) +
                        ": it has no settings and blocks nothing",
                    RESTART);
    }
    if (!HasCapability(daemon, CAP_NET_ADMIN)) {
        status.Fail("websec lacks the right CAP_NET_ADMIN: it can neither read a queue nor set rules",
                    "start it as root");
    }
    if (!HasCapability(daemon, CAP_NET_RAW)) {
        status.Warn("websec lacks the right CAP_NET_RAW: blocked clients wait for a time-out",
                    "start it as root");
    }
}

void JudgeQueue(tagStatus& status, tagHost& host, const std::vector<tagQueueOwner>& owners) {
    const std::string number = std::to_string(host.nQueueNum);
    const tagQueueOwner* pOwner = nullptr;
    const tagQueueOwner* pServed = nullptr;
    for (const auto& owner : owners) {
        if (owner.queue.nQueueNum == host.nQueueNum) pOwner = &owner;
        if (host.daemon && owner.pid == host.daemon->pid) pServed = &owner;
    }
    if (pOwner && pOwner == pServed) return;
    if (pServed) {
        host.nServedQueueNum = pServed->queue.nQueueNum;
        status.Warn("websec reads queue " + std::to_string(pServed->queue.nQueueNum) + "; the queue " +
                    number + " of websec.cfg holds from its next start");
    } else if (pOwner && pOwner->pid != 0) {
        status.Fail("queue " + number + " is owned by " + OwnerText(*pOwner) +
                        (host.daemon ? ": websec sees no packets" : ": websec cannot have it"),
                    "give websec another queueNum in websec.cfg, and restart it");
    } else if (pOwner) {
        status.Fail("queue " + number + " is owned by a process that cannot be seen from here",
                    geteuid() == 0 ? "" : "run websecctl as root");
    } else if (host.daemon) {
        status.Fail("nobody reads queue " + number +
                        ": websec has not got it, and requests that match its rules get lost",
                    RESTART);
    }
}

// What a daemon that was killed has left.
void JudgeLeftRules(tagStatus& status, const tagHost& host, const std::string& table, uint32_t nRules) {
    std::vector<std::string> left;
    if (nRules != 0) left.push_back(Counted(nRules, "rule") + " in " + host.table + " " + host.chain);
    if (HasChain(table, LIVE_CHAIN)) left.push_back(std::string("the chain ") + LIVE_CHAIN);
    if (HasChain(ListTable("filter"), CLOSE_CHAIN)) left.push_back(std::string("the chain ") + CLOSE_CHAIN);
    if (!left.empty()) {
        status.Fail("websec is not running, but has left " + Joined(left, " and ") +
                        ": requests that match get lost or are refused",
                    "take that away: sudo websecctl rules remove; or start websec");
    }
    if (HasChain(table, host.chain) && !IsKernelChain(table, host.chain)) {
        status.Warn("websec is not running, but its chain " + host.chain + " is in " + host.table,
                    "start websec, or take the chain away: sudo /usr/libexec/websec/own-chain remove");
    }
}

void JudgeRules(tagStatus& status, const tagHost& host, const std::string& table, uint32_t nRules,
                bool bLive) {
    const std::string should = Counted(nRules, "rule") + " in " + host.table + " " + host.chain +
                               " for queue " + std::to_string(host.nServedQueueNum) + ", there should be " +
                               std::to_string(RULE_GROUPS);
    std::string repair;
    if (HasCapability(*host.daemon, CAP_NET_ADMIN)) repair = std::string(MISSING_RULES) + RESTART;
    if (!CheckServiceConfig(SERVICE_CONFIG_FILE).problems.empty()) {
        repair = "correct websec.cfg, which names a rule wrongly, and restart websec";
    }
    if (nRules < RULE_GROUPS) status.Fail(should, repair);
    if (nRules > RULE_GROUPS) {
        status.Warn(should + "; of a rule that it finds twice websec clears the whole chain", RESTART);
    }
    if (host.bRunsLive && !bLive) {
        status.Fail(std::string("the chain ") + LIVE_CHAIN + " is not in " + host.table + " " + host.chain +
                        ": requests in several segments pass",
                    repair);
    }
    JudgeCloseChain(status, host);
    if (!IsKernelChain(table, host.chain) && !HasJump(table, host.chain)) {
        status.Fail(
            "no rule leads to the chain " + host.chain + " of " + host.table + ": websec sees nothing",
            MAKE_CHAIN);
    }
}

// A start looks for what a killed run has left only where it finds the counters that LiveTraffic leaves.
void JudgeCloseChain(tagStatus& status, const tagHost& host) {
    if (host.bCloseBypasses || IsConfigNewerThan(*host.daemon)) return;
    if (!HasChain(ListTable("filter"), CLOSE_CHAIN)) return;
    status.Warn(std::string("a run with CloseBypasses 1 that was killed has left the chain ") + CLOSE_CHAIN +
                    ": QUIC and IPv6 are still refused",
                "stop websec; sudo websecctl rules remove; start websec");
}

bool IsKernelChain(const std::string& table, const std::string& chain) {
    return table.find("-P " + chain + ' ') != table.npos;
}

bool HasCapability(const tagDaemonProcess& daemon, int nCapability) {
    return (daemon.status.nCapabilities >> nCapability & 1) != 0;
}

std::string OwnerText(const tagQueueOwner& owner) {
    if (owner.pid == 0) return "a process that cannot be seen from here";
    return Printable(owner.name) + " (pid " + std::to_string(owner.pid) + ")";
}

}  // namespace
