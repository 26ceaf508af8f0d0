// What `websecctl status` gathers: each section adds a row for people, a member to the document, and a
// sentence for everything that keeps websec from working.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ctl/daemon_process.h"
#include "ctl/output.h"

struct tagStatus {
    Json document = Json::object();
    std::vector<std::vector<std::string>> rows;
    std::vector<std::string> problems;
};

// What a daemon with LiveTraffic 1 has counted; no rows without one.
void AddTraffic(tagStatus& status, const std::optional<tagDaemonProcess>& daemon);

// The sections about what is installed and imported. Nothing of them needs root.
void AddConfig(tagStatus& status);
void AddModules(tagStatus& status, const std::optional<tagDaemonProcess>& daemon);
void AddDataFiles(tagStatus& status);
void AddEngine(tagStatus& status);
void AddImportedLists(tagStatus& status);
