// The sections of status about what is installed: websec.cfg, modules, data files.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>

#include "common/product_paths.h"
#include "ctl/config_check.h"
#include "ctl/data_file_check.h"
#include "ctl/data_file_text.h"
#include "ctl/module_check.h"
#include "ctl/status.h"
#include "ctl/time_argument.h"

namespace {

constexpr char CORRECT[] = "correct /usr/lib/Morvane/Morvane/websec.cfg, and restart websec";

void JudgeRuleKeys(tagStatus& status, const tagHost& host);
void JudgePortLists(tagStatus& status, const tagHost& host);
void JudgeChange(tagStatus& status, const tagHost& host);
std::string DataFileState(const tagDataFileKind& kind, const std::string& path, tagStatus& status,
                          Json& document);

}  // namespace

void AddConfig(tagStatus& status, tagHost& host) {
    const tagConfigCheck check = CheckServiceConfig(SERVICE_CONFIG_FILE);
    const bool bChanged = host.daemon && IsConfigNewerThan(*host.daemon);
    const bool bSound =
        check.problems.empty() && WhyNoRules(host.config).empty() && BadPortLists(host.config).empty();
    status.document["config"] = {
        {"file", SERVICE_CONFIG_FILE}, {"there", check.bThere}, {"changed_since_start", bChanged}};
    status.rows.push_back({"websec.cfg", !check.bThere ? "not there, the defaults hold"
                                         : bSound      ? "sound"
                                                       : "faulty, see below"});
    for (const auto& problem : check.problems)
        status.Warn("websec.cfg: " + problem, CORRECT);
    JudgeRuleKeys(status, host);
    if (bChanged) JudgeChange(status, host);
    struct stat file {};
    if (stat(SERVICE_CONFIG_FILE, &file) == 0 && file.st_mtim.tv_sec > std::time(nullptr) + 1) {
        status.Warn(
            "websec.cfg is of the future, of " + LocalTimeText(file.st_mtim.tv_sec) +
                ": the clock was set back, and whether the file was changed since the start is not known",
            "set the clock right, or sudo touch " + std::string(SERVICE_CONFIG_FILE));
    }
}

void AddModules(tagStatus& status, tagHost& host) {
    const auto modules = CheckModules();
    const bool bScans = host.Wants(SWITCH_BROWSING) || host.Wants(SWITCH_PHISHING);
    bool bKnown = false;
    size_t nSound = 0, nLoaded = 0;
    Json& document = status.document["modules"] = Json::object();
    for (const auto& module : modules) {
        const auto loaded = host.daemon ? HasLoaded(*host.daemon, module.szName) : std::nullopt;
        const bool bLoaded = loaded.value_or(false), bMissed = !loaded.value_or(true);
        bKnown = loaded.has_value();
        document[module.szName] = {{"sound", module.problem.empty()}, {"loaded", bLoaded}};
        nSound += module.problem.empty();
        nLoaded += bLoaded;
        if (!module.problem.empty()) {
            status.Fail(
                module.problem + (bLoaded ? "; the running websec has it still, its next start has not" : ""),
                "install websec again");
        } else if (bMissed && bScans && std::string(module.szName) == URL_SCANNER_FILE) {
            status.Fail("websec has not loaded " + std::string(URL_SCANNER_FILE),
                        "it tries again at its next start or refresh: sudo pkill -USR2 -x websec");
        }
    }
    status.rows.push_back({"modules", std::to_string(nSound) + " of " + std::to_string(modules.size()) +
                                          " sound" +
                                          (bKnown ? ", " + std::to_string(nLoaded) + " loaded" : "")});
}

void AddDataFiles(tagStatus& status, tagHost&) {
    Json& document = status.document["data_files"] = Json::object();
    // The section about the modules tells why.
    if (!LibraryProblem(CHECKSUM_LIBRARY).empty()) return status.rows.push_back({"data files", "not known"});
    std::string text;
    for (const auto& kind : DataFileKinds()) {
        const std::string path = std::string(PRODUCT_DIR) + kind.szFileName;
        text += (text.empty() ? "" : ", ") + std::string(kind.szName) + " " +
                DataFileState(kind, path, status, document[kind.szName]);
    }
    status.rows.push_back({"data files", text});
}

namespace {

// What the running daemon has of it fails; what it will have may still be corrected.
void JudgeRuleKeys(tagStatus& status, const tagHost& host) {
    const auto inForce = WhyNoRules(host.rules);
    for (const auto& reason : host.daemon ? inForce : std::vector<std::string>())
        status.Fail("websec runs without rules that work: " + reason, CORRECT);
    for (const auto& reason : WhyNoRules(host.config)) {
        if (!host.daemon) {
            status.Fail("websec.cfg: " + reason, CORRECT);
        } else if (std::find(inForce.begin(), inForce.end(), reason) == inForce.end()) {
            status.Warn("from its next start websec has no rules that work: " + reason, CORRECT);
        }
    }
    JudgePortLists(status, host);
}

// One that is wrong leaves the rules of the others at work; where it does not, it is among the reasons above.
void JudgePortLists(tagStatus& status, const tagHost& host) {
    const auto inForce = host.daemon ? BadPortLists(host.rules) : std::vector<std::string>();
    if (WhyNoRules(host.rules).empty()) {
        for (const auto& list : inForce)
            status.Fail("websec runs with no rule for one list: " + list, CORRECT);
    }
    const auto next = BadPortLists(host.config);
    if (next == inForce || !WhyNoRules(host.config).empty()) return;
    for (const auto& list : next)
        status.Warn("websec.cfg gives no rule for one list: " + list, CORRECT);
}

void JudgeChange(tagStatus& status, const tagHost& host) {
    std::string text = "websec.cfg was changed after websec started, and holds from its next start";
    if (host.AreRulesElsewhere()) {
        text += "; until then its rules are in " + host.Table() + " " + host.Chain();
    }
    if (host.bLiveTraffic != host.bRunsLive) {
        text += std::string("; LiveTraffic is ") + (host.bLiveTraffic ? "1" : "0") + " there and " +
                (host.bRunsLive ? "1" : "0") + " in the running websec";
    }
    status.Warn(text, "restart websec");
}

std::string DataFileState(const tagDataFileKind& kind, const std::string& path, tagStatus& status,
                          Json& document) {
    document = {{"file", path}, {"there", access(path.c_str(), F_OK) == 0}, {"records", 0}};
    if (!document["there"]) return "none";
    std::string problem;
    try {
        const tagDataFileContent content = ReadDataFile(path, kind);
        document["records"] = CountRecords(kind, content.records);
        if (content.problems.empty()) {
            return kind.nCountBytes == 0 ? FormatRecords(kind, content.records)[0]
                                         : document["records"].dump();
        }
        for (const auto& part : content.problems)
            problem += (problem.empty() ? path + " is damaged: " : "; ") + part;
    } catch (const CtlError& error) {
        problem = error.what();
    }
    status.Warn(problem + "; websec goes on without it", "make it anew: websecctl datafile build");
    return "unusable";
}

}  // namespace
