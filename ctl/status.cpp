#include "ctl/status.h"

#include <algorithm>

#include "common/product_paths.h"
#include "ctl/settings_store.h"
#include "service/daemon_note.h"
#include "service/read_config.h"
#include "service/service_config.h"

namespace {

constexpr tagSection SECTIONS[] = {
    {"rights", AddRights, BEFORE_INSTALL},   {"iptables", AddIptables, BEFORE_INSTALL},
    {"matches", AddMatches, BEFORE_INSTALL}, {"kernel queue", AddKernelQueue, BEFORE_INSTALL},
    {"disk", AddDisk, BEFORE_INSTALL},       {"clock", AddClock, BEFORE_INSTALL},
    {"daemon", AddDaemon, IN_STATUS},        {"queue", AddQueue, IN_STATUS | BEFORE_INSTALL},
    {"rules", AddRules, IN_STATUS},          {"websec.cfg", AddConfig, IN_STATUS},
    {"modules", AddModules, IN_STATUS},      {"data files", AddDataFiles, IN_STATUS},
    {"categories by", AddEngine, IN_STATUS}, {"imported", AddImportedLists, IN_STATUS},
    {"settings", AddSettings, IN_STATUS},    {"locale", AddLocale, IN_STATUS | BEFORE_INSTALL},
    {"not seen", AddUnseen, IN_STATUS},
};

void ReadConfig(tagHost& host);
void ReadSwitches(tagHost& host);

}  // namespace

bool tagStatus::Fails() const {
    return std::any_of(remarks.begin(), remarks.end(), [](const tagRemark& r) { return r.bFails; });
}

bool tagHost::AreRulesElsewhere() const {
    return Table() != config.szIptableTable || Chain() != config.szIptableChain;
}

tagHost LookAtHost() {
    constexpr int SETTLE_SECONDS = 5;
    tagHost host{};
    host.daemon = FindSettledDaemon(SETTLE_SECONDS);
    ReadConfig(host);
    ReadSwitches(host);
    if (host.daemon) {
        if (const auto page = TrafficPage::Open(TRAFFIC_PAGE_FILE, host.daemon->pid)) {
            host.traffic = page->Read();
        }
    }
    // Its counters tell. A daemon of another version, or one that found no room for them, goes by the file.
    const bool bChanged = host.daemon && IsConfigNewerThan(*host.daemon);
    host.bRunsLive = host.traffic || (!bChanged && host.bLiveTraffic);
    return host;
}

bool HasCapability(const tagDaemonProcess& daemon, int nCapability) {
    return (daemon.status.nCapabilities >> nCapability & 1) != 0;
}

void AddSection(const tagSection& section, tagStatus& status, tagHost& host) {
    try {
        section.Add(status, host);
    } catch (const CtlError& error) {
        std::string key = section.szName;
        std::replace(key.begin(), key.end(), ' ', '_');
        status.rows.push_back({section.szName, "not known"});
        status.document[key] = nullptr;
        if (geteuid() == 0) return status.Fail(error.what());
        status.Warn(error.what());
        status.bNeedsRoot = true;
    }
}

std::span<const tagSection> Sections() {
    return SECTIONS;
}

namespace {

void ReadConfig(tagHost& host) {
    g_ServiceConfig = {};
    ReadRuleKeys(SERVICE_CONFIG_FILE);
    host.config = g_ServiceConfig;
    (void)ReadNotedRules();
    host.rules = g_ServiceConfig;
    host.nServedQueueNum = host.rules.nQueueNum;
    ReadLiveTraffic();
    host.bLiveTraffic = g_bLiveTraffic == 1;
    host.bCloseBypasses = g_bCloseBypasses == 1;
}

void ReadSwitches(tagHost& host) {
    try {
        SettingsStore store(STORE_OPEN_EXISTING);
        std::array<bool, SWITCH_COUNT> switches;
        for (size_t n = 0; n < switches.size(); ++n)
            switches[n] = store.IsOn(static_cast<int>(n));
        host.switches = switches;
    } catch (const CtlError&) {
        // The section about the settings tells why.
    }
}

}  // namespace
