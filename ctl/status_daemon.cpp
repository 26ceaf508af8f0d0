// The sections of status about the running daemon: process and queue.
#include <linux/capability.h>
#include <linux/netfilter/nfnetlink_queue.h>
#include <unistd.h>

#include <algorithm>

#include "common/product_paths.h"
#include "ctl/queue_owner.h"
#include "ctl/status.h"
#include "ctl/time_argument.h"
#include "intercept/receiver_thread.h"
#include "intercept/worker_thread.h"
#include "service/daemon_note.h"

namespace {

// Main thread, receivers, workers and watchdog; the modules have more.
constexpr uint32_t DAEMON_THREADS = 1 + NUM_QUEUE_RECEIVERS + NUM_WORKER_THREADS + 1;

constexpr char START[] =
    "its service starts one that crashed again within seconds; else start it: systemctl start websec, or "
    "sudo /usr/libexec/websec/run-direct start";

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
void WarnOfKept(tagStatus& status, const tagBoundQueue& queue);
void JudgeQueue(tagStatus& status, tagHost& host, const std::vector<tagQueueOwner>& owners);
std::string OwnerText(const tagQueueOwner& owner);

}  // namespace

void AddDaemon(tagStatus& status, tagHost& host) {
    if (!host.daemon) {
        status.rows.push_back({"daemon", "not running"});
        status.document["daemon"] = nullptr;
        status.Fail("websec is not running: nothing is judged", START);
        return;
    }
    AddProcess(status, host);
    JudgeProcess(status, *host.daemon);
}

void AddQueue(tagStatus& status, tagHost& host) {
    const auto owners = FindQueueOwners();
    Json& document = status.document["queue"] = {{"number", host.config.nQueueNum}, {"owner", nullptr}};
    std::string text = std::to_string(host.config.nQueueNum) + ", read by nobody";
    for (const auto& owner : owners) {
        const tagBoundQueue& queue = owner.queue;
        if (queue.nQueueNum != host.config.nQueueNum) continue;
        document["owner"] = {{"name", owner.name}, {"pid", owner.pid}};
        document["packets"] = queue.nPackets;
        document["waiting"] = queue.nWaiting;
        document["dropped"] = uint64_t{queue.nQueueDropped} + queue.nSocketDropped;
        document["dropped_queue_full"] = queue.nQueueDropped;
        document["dropped_socket_full"] = queue.nSocketDropped;
        text = std::to_string(host.config.nQueueNum) + ", read by " + OwnerText(owner) + ", " +
               Counted(queue.nPackets, "packet") + ", " + std::to_string(queue.nWaiting) + " waiting, " +
               document["dropped"].dump() + " dropped";
        WarnOfKept(status, queue);
    }
    status.rows.push_back({"queue", text});
    JudgeQueue(status, host, owners);
    if (!host.traffic) return;
    for (const auto& flag : CHANNEL_FLAGS) {
        if (((*host.traffic)[COUNT_CHANNEL_FLAGS] & flag.nFlag) == 0) status.Warn(flag.szWithout);
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

void AddSettingsTime(tagStatus& status, const tagHost& host) {
    Json& document = status.document["daemon"]["settings_loaded"] = nullptr;
    const int64_t nLoaded =
        host.traffic ? static_cast<int64_t>((*host.traffic)[COUNT_SETTINGS_TIME]) : ReadNotedSettingsTime();
    if (nLoaded != 0) {
        document = nLoaded;
        status.rows.push_back({"last reload", "settings of " + LocalTimeText(nLoaded)});
    } else if (host.traffic) {
        status.Fail("websec has got no settings yet and blocks nothing",
                    "websecctl reload, once the store can be read");
    }
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
    if (daemon.IsBusy()) {
        status.Warn("websec is still starting, reloading or ending, so what is told here may change",
                    "ask again in a while");
    } else if (daemon.status.nThreads != 0 && daemon.status.nThreads < DAEMON_THREADS) {
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
    const std::string number = std::to_string(host.config.nQueueNum);
    const tagQueueOwner* pOwner = nullptr;
    const tagQueueOwner* pServed = nullptr;
    for (const auto& owner : owners) {
        if (owner.queue.nQueueNum == host.config.nQueueNum) pOwner = &owner;
        if (host.daemon && owner.pid == host.daemon->pid) pServed = &owner;
    }
    if (pOwner && pOwner == pServed) return;
    if (pServed) {
        host.nServedQueueNum = pServed->queue.nQueueNum;
        const bool bCanHold = host.config.nQueueNum <= 65535;
        status.Warn("websec reads queue " + std::to_string(pServed->queue.nQueueNum) + "; " +
                    (bCanHold ? "the queue " + number + " of websec.cfg holds from its next start"
                              : "there is no queue " + number + ", as websec.cfg has it"));
    } else if (pOwner && pOwner->pid != 0) {
        status.Fail("queue " + number + " is owned by " + OwnerText(*pOwner) +
                        (host.daemon ? ": websec sees no packets" : ": websec cannot have it"),
                    "give websec another queueNum in websec.cfg, and restart it");
    } else if (pOwner && host.daemon && geteuid() != 0) {
        status.Warn("who reads queue " + number + " cannot be seen by this user", "run websecctl as root");
    } else if (pOwner) {
        status.Fail("queue " + number + " is owned by a process that cannot be seen from here",
                    geteuid() == 0 ? "" : "run websecctl as root");
    } else if (host.daemon) {
        status.Fail("nobody reads queue " + number +
                        ": websec has not got it, and requests that match its rules get lost",
                    RESTART);
    }
}

// What comes and goes is away at one look or another.
void WarnOfKept(tagStatus& status, const tagBoundQueue& queue) {
    uint32_t nKept = queue.nWaiting;
    for (int i = 0; i < 10 && nKept != 0; ++i) {
        usleep(100'000);
        for (const auto& owner : FindQueueOwners())
            if (owner.queue.nQueueNum == queue.nQueueNum) nKept = std::min(nKept, owner.queue.nWaiting);
    }
    if (nKept == 0) return;
    const std::string text = Counted(nKept, "request") + " got no verdict for a second: ";
    if (nKept < NUM_WORKER_THREADS) {
        status.Warn(text + "a module hangs, or more comes than websec can judge", RESTART);
    } else {
        status.Fail(text + "modules hang, or more comes than websec can judge, and nothing may be judged",
                    RESTART);
    }
}

std::string OwnerText(const tagQueueOwner& owner) {
    if (owner.pid == 0) return "a process that cannot be seen from here";
    return Printable(owner.name) + " (pid " + std::to_string(owner.pid) + ")";
}

}  // namespace
