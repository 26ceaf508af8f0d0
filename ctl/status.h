// The checks behind websecctl status and websecctl doctor. Each section looks at one thing: it adds rows for
// people, a member to the document, and a remark for whatever is not as it should be.
#pragma once

#include <unistd.h>

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "ctl/daemon_process.h"
#include "ctl/output.h"
#include "ctl/traffic_page.h"
#include "modules/store/store_settings.h"
#include "service/service_config.h"

struct tagRemark {
    bool bFails;  // websec does not do what it should; else it is worth knowing
    std::string text;
    std::string remedy;  // what to do; may be empty
};

struct tagStatus {
    Json document = Json::object();
    std::vector<std::vector<std::string>> rows;
    std::vector<tagRemark> remarks;
    bool bNeedsRoot = false;  // something could not be told to this user

    void Warn(std::string text, std::string remedy = "") {
        remarks.push_back({false, std::move(text), std::move(remedy)});
    }
    void Fail(std::string text, std::string remedy = "") {
        remarks.push_back({true, std::move(text), std::move(remedy)});
    }
    bool Fails() const;
};

constexpr char RESTART[] =
    "restart it: systemctl restart websec, or sudo pkill -TERM -x websec, and start it";

// What the sections look at.
struct tagHost {
    std::optional<tagDaemonProcess> daemon;
    std::optional<tagTrafficReading> traffic;                // of a running daemon that has LiveTraffic 1
    std::optional<std::array<bool, SWITCH_COUNT>> switches;  // nothing when the store cannot be read

    // What websec.cfg says, read as the daemon reads it, without the ports of other files.
    tagServiceConfig config;
    bool bLiveTraffic, bCloseBypasses;

    // Of the running daemon, or of the last one: what it noted, else the same.
    tagServiceConfig rules;
    uint32_t nServedQueueNum;
    bool bRunsLive;
    std::string Table() const { return rules.szIptableTable; }
    std::string Chain() const { return rules.szIptableChain; }
    bool AreRulesElsewhere() const;  // than where websec.cfg says by now

    // Whether somebody counts on that protection: it is on, or not even root can tell.
    bool Wants(int nSwitch) const {
        return switches ? (*switches)[static_cast<size_t>(nSwitch)] : geteuid() == 0;
    }
};

// Waits some seconds for a daemon that is just starting, reloading or ending.
tagHost LookAtHost();
bool HasCapability(const tagDaemonProcess& daemon, int nCapability);

enum : uint8_t { IN_STATUS = 1, BEFORE_INSTALL = 2 };

struct tagSection {
    const char* szName;
    void (*Add)(tagStatus& status, tagHost& host);
    uint8_t nUses;  // IN_STATUS: status shows it; BEFORE_INSTALL: of use where websec is not installed yet
};

// All sections, as doctor shows them.
std::span<const tagSection> Sections();

// Without its rows, and with a remark, when it cannot be told: that is a fault only where root asks.
void AddSection(const tagSection& section, tagStatus& status, tagHost& host);

// The sections, by the file that they stand in.
void AddDaemon(tagStatus& status, tagHost& host);  // status_daemon.cpp
void AddQueue(tagStatus& status, tagHost& host);
void AddRules(tagStatus& status, tagHost& host);   // status_rules.cpp
void AddConfig(tagStatus& status, tagHost& host);  // status_files.cpp
void AddModules(tagStatus& status, tagHost& host);
void AddDataFiles(tagStatus& status, tagHost& host);
void AddEngine(tagStatus& status, tagHost& host);  // status_lists.cpp
void AddImportedLists(tagStatus& status, tagHost& host);
void AddSettings(tagStatus& status, tagHost& host);  // status_store.cpp
void AddDisk(tagStatus& status, tagHost& host);
void AddClock(tagStatus& status, tagHost& host);
void AddLocale(tagStatus& status, tagHost& host);  // status_host.cpp
void AddUnseen(tagStatus& status, tagHost& host);
void AddRights(tagStatus& status, tagHost& host);
void AddIptables(tagStatus& status, tagHost& host);
void AddMatches(tagStatus& status, tagHost& host);
void AddKernelQueue(tagStatus& status, tagHost& host);
