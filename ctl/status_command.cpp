// websecctl status: whether websec works here, and if not, why.
#include <linux/capability.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/product_paths.h"
#include "common/profile.h"
#include "ctl/commands.h"
#include "ctl/daemon_process.h"
#include "ctl/imported_lists.h"
#include "ctl/output.h"
#include "ctl/queue_owner.h"
#include "ctl/rule_count.h"
#include "ctl/settings_store.h"
#include "ctl/status.h"
#include "ctl/traffic_watch.h"

namespace {

constexpr uint32_t RULE_GROUPS = 3;
constexpr char SECTION[] = "IPTABLEConfigurations";

// What websec.cfg says, read as the daemon reads it.
struct tagQueueConfig {
    uint32_t nQueueNum;
    uint32_t nServedQueueNum;  // of the running daemon, which may have started before a change; else the same
    std::string chain;
    std::string table;
};

tagQueueConfig ReadQueueConfig();
void ShowStatus();
void AddDaemon(tagStatus& status, const std::optional<tagDaemonProcess>& daemon);
void AddQueue(tagStatus& status, const std::optional<tagDaemonProcess>& daemon, tagQueueConfig& config);
void JudgeQueue(tagStatus& status, const std::optional<tagDaemonProcess>& daemon,
                const std::vector<tagQueueOwner>& owners, tagQueueConfig& config);
void AddRules(tagStatus& status, const std::optional<tagDaemonProcess>& daemon, const tagQueueConfig& config);
void AddPolicy(tagStatus& status);
bool HasCapability(const tagDaemonProcess& daemon, int nCapability);
std::string OwnerText(const tagQueueOwner& owner);

}  // namespace

void AddStatusCommand(CLI::App& app) {
    CLI::App* pStatus = app.add_subcommand("status", "Tell whether websec works, and if not, why");
    const auto pWatch = std::make_shared<bool>(false);
    pStatus->add_flag("--watch", *pWatch,
                      "Show the traffic of each second until interrupted (LiveTraffic 1)");
    pStatus->footer("Example: sudo websecctl status");
    pStatus->final_callback([pWatch] { *pWatch ? WatchTraffic() : ShowStatus(); });
}

namespace {

void ShowStatus() {
    tagStatus status;
    const auto daemon = FindDaemon();
    tagQueueConfig config = ReadQueueConfig();
    AddDaemon(status, daemon);
    // Each section may fail by itself; the others are told all the same.
    const auto attempt = [&status](const char* szSection, const std::function<void()>& add) {
        try {
            add();
        } catch (const CtlError& error) {
            status.rows.push_back({szSection, "not known"});
            status.document[szSection] = nullptr;
            status.problems.push_back(error.what());
        }
    };
    attempt("queue", [&] { AddQueue(status, daemon, config); });
    attempt("rules", [&] { AddRules(status, daemon, config); });
    AddTraffic(status, daemon);
    AddConfig(status);
    AddModules(status, daemon);
    AddDataFiles(status);
    AddEngine(status);
    AddImportedLists(status);
    attempt("settings", [&] { AddPolicy(status); });
    for (const auto& problem : status.problems)
        status.rows.push_back({"problem", problem});
    status.document["problems"] = status.problems;
    PrintAnswer(status.document, AlignColumns(status.rows));
}

tagQueueConfig ReadQueueConfig() {
    unsigned int nError = 0;
    const int nQueue = GetPrivateProfileInt(SECTION, "queueNum", 0, SERVICE_CONFIG_FILE, &nError);
    const uint32_t nQueueNum = nError == 0 ? static_cast<uint32_t>(nQueue) : 0;
    tagQueueConfig config{nQueueNum, nQueueNum, {}, {}};
    const auto readText = [](const char* szKey, const char* szDefault) {
        char szValue[512] = {};
        unsigned int nIgnored = 0;
        (void)GetPrivateProfileString(SECTION, szKey, szDefault, szValue, sizeof szValue, SERVICE_CONFIG_FILE,
                                      &nIgnored);
        return std::string(szValue);
    };
    config.chain = readText("iptableChain", "POSTROUTING");
    config.table = readText("iptableTable", "mangle");
    return config;
}

void AddDaemon(tagStatus& status, const std::optional<tagDaemonProcess>& daemon) {
    if (!daemon) {
        status.rows.push_back({"daemon", "not running"});
        status.document["daemon"] = nullptr;
        status.problems.push_back("websec is not running: nothing is blocked");
        return;
    }
    status.rows.push_back({"daemon", "running (pid " + std::to_string(daemon->pid) + ")"});
    status.document["daemon"] = {{"pid", daemon->pid}};
    for (const pid_t pid : daemon->others) {
        status.problems.push_back("another websec runs (pid " + std::to_string(pid) +
                                  ") without the queue: when either ends, its rules go, or lose requests; "
                                  "end it");
    }
    if (HasLoaded(*daemon, REPORT_MODULE_FILE) == false) {
        status.problems.push_back("websec has not loaded " + std::string(REPORT_MODULE_FILE) +
                                  ": it has no settings and blocks nothing");
    }
    if (!HasCapability(*daemon, CAP_NET_ADMIN)) {
        status.problems.push_back(
            "websec lacks the right CAP_NET_ADMIN: it can neither read a queue nor set rules");
    }
    if (!HasCapability(*daemon, CAP_NET_RAW)) {
        status.problems.push_back("websec lacks the right CAP_NET_RAW: blocked clients wait for a time-out");
    }
}

void AddQueue(tagStatus& status, const std::optional<tagDaemonProcess>& daemon, tagQueueConfig& config) {
    const auto owners = FindQueueOwners();
    Json& document = status.document["queue"] = {{"number", config.nQueueNum}, {"owner", nullptr}};
    std::string text = std::to_string(config.nQueueNum) + ", read by nobody";
    for (const auto& owner : owners) {
        if (owner.queue.nQueueNum != config.nQueueNum) continue;
        document["owner"] = {{"name", owner.name}, {"pid", owner.pid}};
        document["waiting"] = owner.queue.nWaiting;
        document["dropped"] = owner.queue.nQueueDropped + owner.queue.nSocketDropped;
        text = std::to_string(config.nQueueNum) + ", read by " + OwnerText(owner) + ", " +
               std::to_string(owner.queue.nWaiting) + " waiting, " + document["dropped"].dump() + " dropped";
    }
    status.rows.push_back({"queue", text});
    JudgeQueue(status, daemon, owners, config);
}

void JudgeQueue(tagStatus& status, const std::optional<tagDaemonProcess>& daemon,
                const std::vector<tagQueueOwner>& owners, tagQueueConfig& config) {
    const std::string number = std::to_string(config.nQueueNum);
    const tagQueueOwner* pOwner = nullptr;
    const tagQueueOwner* pServed = nullptr;
    for (const auto& owner : owners) {
        if (owner.queue.nQueueNum == config.nQueueNum) pOwner = &owner;
        if (daemon && owner.pid == daemon->pid) pServed = &owner;
    }
    if (pOwner && pOwner == pServed) return;
    if (pServed) {
        config.nServedQueueNum = pServed->queue.nQueueNum;
        status.problems.push_back("websec reads queue " + std::to_string(pServed->queue.nQueueNum) +
                                  "; the queue " + number + " of websec.cfg holds from its next start");
    } else if (pOwner && pOwner->pid != 0) {
        status.problems.push_back("queue " + number + " is owned by " + OwnerText(*pOwner) +
                                  (daemon ? ": websec sees no packets" : ": websec cannot have it"));
    } else if (pOwner) {
        status.problems.push_back("queue " + number + " is owned by a process that cannot be seen from here" +
                                  (geteuid() == 0 ? "" : "; run websecctl as root"));
    } else if (daemon) {
        status.problems.push_back("nobody reads queue " + number +
                                  ": websec has not got it, and requests that match its rules get lost");
    }
}

void AddRules(tagStatus& status, const std::optional<tagDaemonProcess>& daemon,
              const tagQueueConfig& config) {
    if (geteuid() != 0) throw CtlError("only root can see the firewall rules; run websecctl as root");
    const uint32_t nRules = CountInstalledRules(config.table, config.chain, config.nServedQueueNum);
    const std::string place = config.table + " " + config.chain;
    status.document["rules"] = {{"table", config.table}, {"chain", config.chain}, {"count", nRules}};
    status.rows.push_back({"rules", std::to_string(nRules) + " in " + place});
    const std::string found = std::to_string(nRules) + " rules in " + place + " send to queue " +
                              std::to_string(config.nServedQueueNum);
    if (daemon && nRules < RULE_GROUPS) {
        const bool bCanRepair = HasCapability(*daemon, CAP_NET_ADMIN);
        status.problems.push_back(found + ", " + std::to_string(RULE_GROUPS) + " should" +
                                  (bCanRepair ? "; websec puts missing rules back within a minute" : ""));
    } else if (daemon && nRules > RULE_GROUPS) {
        status.problems.push_back(found + ", " + std::to_string(RULE_GROUPS) +
                                  " should; of a rule that it finds twice websec clears the whole chain");
    } else if (!daemon && nRules != 0) {
        status.problems.push_back(found +
                                  " although websec is not running: requests that match them get lost");
    }
}

void AddPolicy(tagStatus& status) {
    SettingsStore store(STORE_OPEN_EXISTING);
    Json switches = Json::object(), lists = Json::object();
    std::string text;
    for (int nSwitch = 0; nSwitch < SWITCH_COUNT; ++nSwitch) {
        const bool bOn = store.IsOn(nSwitch);
        switches[SwitchName(nSwitch)] = bOn;
        text += (text.empty() ? "" : ", ") + std::string(SwitchName(nSwitch)) + (bOn ? " on" : " off");
    }
    status.rows.push_back({"protections", text});
    text.clear();
    for (int nList = 0; nList < STORE_LIST_COUNT; ++nList) {
        const size_t nEntries = store.Entries(nList).size();
        lists[StoreListName(nList)] = nEntries;
        text += StoreListName(nList) + (" " + std::to_string(nEntries)) + ", ";
    }
    const size_t nCategories = store.BlockedCategories().size();
    status.rows.push_back({"entries", text + "blocked categories " + std::to_string(nCategories)});
    if (store.IsOn(SWITCH_CATEGORY) && CountListedNames().empty()) {
        status.problems.push_back(
            "the protection 'category' is on, but there is no list of categories; import one");
    }
    status.document["settings"] = {
        {"protections", switches}, {"lists", lists}, {"blocked_categories", nCategories}};
}

bool HasCapability(const tagDaemonProcess& daemon, int nCapability) {
    return (daemon.status.nCapabilities >> nCapability & 1) != 0;
}

std::string OwnerText(const tagQueueOwner& owner) {
    if (owner.pid == 0) return "a process that cannot be seen from here";
    return Printable(owner.name) + " (pid " + std::to_string(owner.pid) + ")";
}

}  // namespace
