#include "ctl/daemon_process.h"

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <sstream>
#include <thread>
#include <vector>

#include "common/product_paths.h"
#include "ctl/proc_file.h"
#include "ctl/read_file.h"

namespace {

constexpr char DAEMON_NAME[] = "websec";
constexpr size_t COMM_BYTES = 15;  // the kernel cuts names to so many
constexpr auto POLL_PERIOD = std::chrono::milliseconds(10);

int64_t Milliseconds(clockid_t clock);
bool IsProgramHere(pid_t pid, std::string_view name);
std::optional<tagProcessStatus> ReadProcessStatus(pid_t pid);
tagReloadResult SignalDaemon(int nSignal);
constexpr uint64_t SignalBit(int nSignal) {
    return uint64_t{1} << (nSignal - 1);
}
ReloadOutcome AwaitHandler(pid_t pid, int nSignal);
const char* OutcomeName(ReloadOutcome outcome);

}  // namespace

std::vector<tagDaemonProcess> FindProgram(std::string_view name) {
    std::vector<tagDaemonProcess> found;
    for (const pid_t pid : ListProcesses()) {
        if (!IsProgramHere(pid, name)) continue;
        if (const auto status = ReadProcessStatus(pid)) found.push_back({pid, *status, {}});
    }
    return found;
}

std::optional<tagDaemonProcess> FindDaemon() {
    const std::vector<tagDaemonProcess> found = FindProgram(DAEMON_NAME);
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

bool tagDaemonProcess::IsBusy() const {
    const uint64_t nEnding = status.nPendingSignals & SignalBit(SIGKILL);
    return (((status.nPendingSignals | status.nBlockedSignals) & SignalBit(SIGTERM)) | nEnding) != 0;
}

std::optional<tagDaemonProcess> FindSettledDaemon(int nSeconds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(nSeconds);
    auto daemon = FindDaemon();
    // Seen twice, as in AwaitHandler.
    for (int nQuiet = 0; daemon && std::chrono::steady_clock::now() < deadline; daemon = FindDaemon()) {
        nQuiet = daemon->IsBusy() ? 0 : nQuiet + 1;
        if (nQuiet == 2) break;
        std::this_thread::sleep_for(POLL_PERIOD);
    }
    return daemon;
}

std::optional<bool> HasLoaded(const tagDaemonProcess& daemon, std::string_view library) {
    const auto maps = ReadTextFile(ProcPath(daemon.pid, "maps"));
    if (!maps || maps->empty()) return std::nullopt;
    // The kernel names files without the links on the way to them.
    std::error_code error;
    const std::string file = std::filesystem::weakly_canonical(library, error).string();
    return maps->find(error ? std::string(library) : file) != std::string::npos;
}

std::optional<int64_t> StartTime(pid_t pid) {
    const std::string text = ReadTextFile(ProcPath(pid, "stat")).value_or("");
    // The name in brackets may hold anything; the state behind it is field 3, the start field 22.
    const size_t nState = text.rfind(") ");
    if (nState == text.npos) return std::nullopt;
    std::istringstream fields(text.substr(nState + 2));
    std::string skipped;
    for (int n = 3; n < 22; ++n)
        fields >> skipped;
    int64_t nTicks = 0;
    if (!(fields >> nTicks)) return std::nullopt;
    return Milliseconds(CLOCK_REALTIME) - Milliseconds(CLOCK_BOOTTIME) + nTicks * 1000 / sysconf(_SC_CLK_TCK);
}

bool IsConfigNewerThan(const tagDaemonProcess& daemon) {
    constexpr int64_t TICK = 10;  // what a start may be off by
    struct stat file {};
    const auto started = StartTime(daemon.pid);
    if (!started || stat(SERVICE_CONFIG_FILE, &file) != 0) return false;
    const int64_t nWritten = file.st_mtim.tv_sec * 1000 + file.st_mtim.tv_nsec / 1000000;
    // One of the future tells nothing: the clock was set back.
    return nWritten > *started + TICK && nWritten <= Milliseconds(CLOCK_REALTIME) + TICK;
}

tagReloadResult ReloadDaemon() {
    tagReloadResult result = SignalDaemon(SIGHUP);
    // Only a daemon that has started is sure to have the module, if it ever gets it.
    if (result.outcome != ReloadOutcome::Done) return result;
    const auto daemon = FindDaemon();
    if (daemon && HasLoaded(*daemon, REPORT_MODULE_FILE) == false)
        result.outcome = ReloadOutcome::WithoutSettings;
    return result;
}

tagReloadResult RefreshDaemon() {
    return SignalDaemon(SIGUSR2);
}

std::string DescribeReload(const tagReloadResult& result) {
    const std::string name = "websec (pid " + std::to_string(result.pid) + ")";
    const bool bLists = result.nSignal == SIGUSR2;
    switch (result.outcome) {
        case ReloadOutcome::NotRunning:
            return "websec is not running";
        case ReloadOutcome::Starting:
            return name + " is just starting and reads " + (bLists ? "its lists" : "the settings") +
                   " as it does";
        case ReloadOutcome::Done:
            return name + (bLists ? " has opened its lists anew" : " has reloaded");
        case ReloadOutcome::WithoutSettings:
            return name + " has reloaded, but has not loaded " + REPORT_MODULE_FILE + ": it has no settings";
        case ReloadOutcome::StillWorking:
            return name + (bLists ? " is still opening its lists" : " is still reloading") + " after " +
                   std::to_string(RELOAD_WAIT_SECONDS) + " seconds";
        case ReloadOutcome::Ended:
            return name + " ended before it had " + (bLists ? "opened its lists" : "reloaded");
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
    const bool bTold =
        result.outcome != ReloadOutcome::NotPermitted && result.outcome != ReloadOutcome::WithoutSettings;
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
        if (name == "Threads") status.nThreads = static_cast<uint32_t>(number(10));
        if (name == "State" && !value.empty()) status.cState = value[0];
    }
    return status;
}

namespace {

int64_t Milliseconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

bool IsProgramHere(pid_t pid, std::string_view name) {
    if (ReadTextFile(ProcPath(pid, "comm")) != std::string(name.substr(0, COMM_BYTES)) + "\n") return false;
    if (const auto program = ReadProcLink(ProcPath(pid, "exe"))) {
        std::string_view file = *program;
        file.remove_prefix(file.rfind('/') + 1);
        // An upgrade has replaced the file of a daemon that still runs.
        constexpr std::string_view DELETED = " (deleted)";
        if (file.ends_with(DELETED)) file.remove_suffix(DELETED.size());
        if (file != name) return false;
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

tagReloadResult SignalDaemon(int nSignal) {
    const auto daemon = FindDaemon();
    if (!daemon) return {ReloadOutcome::NotRunning, 0, nSignal};
    // Without its handler the signal would end it.
    if (!(daemon->status.nCaughtSignals & SignalBit(nSignal))) {
        return {ReloadOutcome::Starting, daemon->pid, nSignal};
    }
    if (kill(daemon->pid, nSignal) != 0) {
        const bool bRefused = errno == EPERM;
        return {bRefused ? ReloadOutcome::NotPermitted : ReloadOutcome::Ended, daemon->pid, nSignal};
    }
    return {AwaitHandler(daemon->pid, nSignal), daemon->pid, nSignal};
}

// While the handler works it keeps the signal blocked. Between the delivery of the signal and the first line
// of the handler the kernel shows neither state for an instant, so quiet must be seen twice.
ReloadOutcome AwaitHandler(pid_t pid, int nSignal) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(RELOAD_WAIT_SECONDS);
    int nQuiet = 0;
    while (std::chrono::steady_clock::now() < deadline) {
        const auto status = ReadProcessStatus(pid);
        if (!status || !IsProgramHere(pid, DAEMON_NAME)) return ReloadOutcome::Ended;
        const bool bBusy = ((status->nPendingSignals | status->nBlockedSignals) & SignalBit(nSignal)) != 0;
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
        case ReloadOutcome::WithoutSettings:
            return "without settings";
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
