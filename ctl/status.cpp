#include "ctl/status.h"

#include <algorithm>

#include "common/product_paths.h"
#include "common/profile.h"
#include "ctl/settings_store.h"
#include "service/read_config.h"
#include "service/service_config.h"

namespace {

constexpr char SECTION[] = "IPTABLEConfigurations";

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
int ReadNumber(const char* szKey);
std::string ReadText(const char* szKey, const char* szDefault);
void ReadSwitches(tagHost& host);

}  // namespace

bool tagStatus::Fails() const {
    return std::any_of(remarks.begin(), remarks.end(), [](const tagRemark& r) { return r.bFails; });
}

tagHost LookAtHost() {
    tagHost host{};
    host.daemon = FindDaemon();
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
    host.nQueueNum = host.nServedQueueNum = static_cast<uint32_t>(ReadNumber("queueNum"));
    host.bUsesPorts = static_cast<uint8_t>(ReadNumber("UseDefinedPorts")) != 0;
    host.chain = ReadText("iptableChain", "POSTROUTING");
    host.table = ReadText("iptableTable", "mangle");
    ReadLiveTraffic();
    host.bLiveTraffic = g_bLiveTraffic == 1;
    host.bCloseBypasses = g_bCloseBypasses == 1;
}

int ReadNumber(const char* szKey) {
    unsigned int nError = 0;
    const int nValue = GetPrivateProfileInt(SECTION, szKey, 0, SERVICE_CONFIG_FILE, &nError);
    return nError == 0 ? nValue : 0;
}

std::string ReadText(const char* szKey, const char* szDefault) {
    char szValue[512] = {};
    unsigned int nIgnored = 0;
    (void)GetPrivateProfileString(SECTION, szKey, szDefault, szValue, sizeof szValue, SERVICE_CONFIG_FILE,
                                  &nIgnored);
    return szValue;
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
