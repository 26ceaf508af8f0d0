#include "ctl/daemon_process.h"

#include <signal.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "ctl/proc_file.h"
#include "ctl/read_file.h"

namespace {

constexpr char DAEMON_NAME[] = "websec";
constexpr uint64_t SIGHUP_BIT = uint64_t{1} << (SIGHUP - 1);
constexpr auto POLL_PERIOD = std::chrono::milliseconds(5);

bool IsDaemonHere(pid_t pid);
std::optional<tagProcessStatus> ReadProcessStatus(pid_t pid);
ReloadOutcome AwaitReload(pid_t pid);
const char* OutcomeName(ReloadOutcome outcome);

}  // namespace

std::optional<tagDaemonProcess> FindDaemon() {
    std::vector<tagDaemonProcess> found;
    for (const pid_t pid : ListProcesses()) {
        if (!IsDaemonHere(pid)) continue;
        if (const auto status = ReadProcessStatus(pid)) found.push_back({pid, *status, {}});
    }
    // A child of the daemon on its way to a shell still looks like the daemon.
    std::optional<tagDaemonProcess> daemon;
    for (const auto& candidate : found) {
        bool bChild = false;
        for (const auto& other : found)
            bChild |= candidate.status.nParent == other.pid;
        if (bChild) continue;
        if (daemon) {
            daemon->others.push_back(candidate.pid);
        } else {
            daemon = candidate;
        }
    }
    return daemon;
}

std::optional<bool> HasLoaded(const tagDaemonProcess& daemon, std::string_view library) {
    const auto maps = ReadTextFile(ProcPath(daemon.pid, "maps"));
    if (!maps || maps->empty()) return std::nullopt;
    return maps->find(library) != std::string::npos;
}

tagReloadResult ReloadDaemon() {
    const auto daemon = FindDaemon();
    if (!daemon) return {ReloadOutcome::NotRunning, 0};
    // Without its handler the signal would end it.
    if (!(daemon->status.nCaughtSignals & SIGHUP_BIT)) return {ReloadOutcome::Starting, daemon->pid};
    if (kill(daemon->pid, SIGHUP) != 0) {
        return {errno == EPERM ? ReloadOutcome::NotPermitted : ReloadOutcome::Ended, daemon->pid};
    }
    return {AwaitReload(daemon->pid), daemon->pid};
}

std::string DescribeReload(const tagReloadResult& result) {
    const std::string name = "websec (pid " + std::to_string(result.pid) + ")";
    switch (result.outcome) {
        case ReloadOutcome::NotRunning:
            return "websec is not running";
        case ReloadOutcome::Starting:
            return name + " is just starting and reads the settings as it does";
        case ReloadOutcome::Done:
            return name + " has reloaded";
        case ReloadOutcome::StillWorking:
            return name + " is still reloading after " + std::to_string(RELOAD_WAIT_SECONDS) + " seconds";
        case ReloadOutcome::Ended:
            return name + " ended before it had reloaded";
        case ReloadOutcome::NotPermitted:
            return name + " may not be signalled by this user; run websecctl as root";
    }
    return {};
}

Json ReloadDocument(const tagReloadResult& result) {
    Json document{{"outcome", OutcomeName(result.outcome)}};
    if (result.pid != 0) document["pid"] = result.pid;
    return document;
}

void PrintChange(Json document, std::string text) {
    const tagReloadResult result = ReloadDaemon();
    const bool bTold = result.outcome != ReloadOutcome::NotPermitted;
    document["reload"] = ReloadDocument(result);
    if (bTold) text += "\n" + DescribeReload(result);
    if (result.outcome == ReloadOutcome::NotRunning || result.outcome == ReloadOutcome::Ended) {
        text += "; the change holds from its next start";
    }
    PrintAnswer(document, text);
    if (!bTold) throw CtlError(DescribeReload(result) + "; the change is stored");
}

tagProcessStatus ParseProcessStatus(std::string_view text) {
    tagProcessStatus status{};
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(text.size(), line.size() + 1));
        const size_t nColon = line.find(":\t");
        if (nColon == line.npos) continue;
        const std::string_view name = line.substr(0, nColon);
        const std::string_view value = line.substr(nColon + 2);
        const auto number = [value](int nBase) {
            uint64_t n = 0;
            std::from_chars(value.data(), value.data() + value.size(), n, nBase);
            return n;
        };
        if (name == "PPid") status.nParent = static_cast<pid_t>(number(10));
        if (name == "SigPnd" || name == "ShdPnd") status.nPendingSignals |= number(16);
        if (name == "SigBlk") status.nBlockedSignals = number(16);
        if (name == "SigCgt") status.nCaughtSignals = number(16);
        if (name == "CapEff") status.nCapabilities = number(16);
    }
    return status;
}

namespace {

bool IsDaemonHere(pid_t pid) {
    if (ReadTextFile(ProcPath(pid, "comm")) != std::string(DAEMON_NAME) + "\n") return false;
    if (const auto program = ReadProcLink(ProcPath(pid, "exe"))) {
        std::string_view name = *program;
        name.remove_prefix(name.rfind('/') + 1);
        // An upgrade has replaced the file of a daemon that still runs.
        constexpr std::string_view DELETED = " (deleted)";
        if (name.ends_with(DELETED)) name.remove_suffix(DELETED.size());
        if (name != DAEMON_NAME) return false;
    } else if (errno == ENOENT) {
        return false;  // ended, and not collected yet
    }
    const auto itsNet = ReadProcLink(ProcPath(pid, "ns/net"));
    return !itsNet || itsNet == ReadProcLink("/proc/self/ns/net");
}

std::optional<tagProcessStatus> ReadProcessStatus(pid_t pid) {
    const auto text = ReadTextFile(ProcPath(pid, "status"));
    if (!text || text->empty()) return std::nullopt;
    return ParseProcessStatus(*text);
}

// While the handler works it keeps SIGHUP blocked. Between the delivery of the signal and the first line of
// the handler the kernel shows neither state for an instant, so quiet must be seen twice.
ReloadOutcome AwaitReload(pid_t pid) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(RELOAD_WAIT_SECONDS);
    int nQuiet = 0;
    while (std::chrono::steady_clock::now() < deadline) {
        const auto status = ReadProcessStatus(pid);
        if (!status || !IsDaemonHere(pid)) return ReloadOutcome::Ended;
        const bool bBusy = ((status->nPendingSignals | status->nBlockedSignals) & SIGHUP_BIT) != 0;
        nQuiet = bBusy ? 0 : nQuiet + 1;
        if (nQuiet == 2) return ReloadOutcome::Done;
        std::this_thread::sleep_for(POLL_PERIOD);
    }
    return ReloadOutcome::StillWorking;
}

const char* OutcomeName(ReloadOutcome outcome) {
    switch (outcome) {
        case ReloadOutcome::NotRunning:
            return "not running";
        case ReloadOutcome::Starting:
            return "starting";
        case ReloadOutcome::Done:
            return "done";
        case ReloadOutcome::StillWorking:
            return "still working";
        case ReloadOutcome::Ended:
            return "ended";
        case ReloadOutcome::NotPermitted:
            return "not permitted";
    }
    return "";
}

}  // namespace
