// Finding the running daemon and making it read its settings, or its data and lists, anew.
//
// The daemon keeps no pid file. It is the process named websec, run from a program of that name, in this
// network namespace: that is the one whose rules and queue see the traffic here.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ctl/output.h"

// What /proc/PID/status tells about a process; masks with one bit per signal (signal 1 is bit 0) or
// capability. Missing lines leave 0.
struct tagProcessStatus {
    pid_t nParent;
    uint64_t nPendingSignals;  // for the thread and for the process
    uint64_t nBlockedSignals;
    uint64_t nCaughtSignals;
    uint64_t nCapabilities;  // effective
    uint32_t nThreads;
    char cState;  // 'S' sleeping, 'T' stopped, ...
};

// Reads the text of a /proc/PID/status file (proc_pid_status(5)).
tagProcessStatus ParseProcessStatus(std::string_view text);

struct tagDaemonProcess {
    pid_t pid;
    tagProcessStatus status;
    std::vector<pid_t> others;  // further daemons in the same network namespace; there should be none

    // It is just starting, reloading or ending: it keeps its control signals blocked meanwhile.
    bool IsBusy() const;
};

// Whether the daemon has loaded that library; nothing when its memory map may not be read.
std::optional<bool> HasLoaded(const tagDaemonProcess& daemon, std::string_view library);

// When the process started, in milliseconds since 1970 by the clock of now.
std::optional<int64_t> StartTime(pid_t pid);

// Whether websec.cfg was written after that daemon had started.
bool IsConfigNewerThan(const tagDaemonProcess& daemon);

// The processes of that name, run from a program of that name, in this network namespace; in rising order.
std::vector<tagDaemonProcess> FindProgram(std::string_view name);

// The daemon, or nothing when none runs here. A process whose program and namespace may not be looked at
// counts when its name fits.
std::optional<tagDaemonProcess> FindDaemon();

// The same, but one that is busy is waited for, at most so long.
std::optional<tagDaemonProcess> FindSettledDaemon(int nSeconds);

// What became of a reload. Each has its words in DescribeReload.
enum class ReloadOutcome {
    NotRunning,       // no daemon
    Starting,         // it has no handlers yet and reads the settings as it starts
    Done,             // the handler has returned
    WithoutSettings,  // so has it, but the module that reads the settings is not loaded
    StillWorking,     // signalled, but not through after RELOAD_WAIT_SECONDS
    Ended,            // it ended while it was waited for
    NotPermitted,     // signals to it are refused
};
struct tagReloadResult {
    ReloadOutcome outcome;
    pid_t pid;    // 0 for NotRunning
    int nSignal;  // SIGHUP or SIGUSR2: what it was to do
};

constexpr int RELOAD_WAIT_SECONDS = 10;

// Sends SIGHUP to the daemon and waits until it has done what it does then.
tagReloadResult ReloadDaemon();

// Sends SIGUSR2, by which it reads its data files and opens the lists anew, and waits likewise.
tagReloadResult RefreshDaemon();

// One line for people.
std::string DescribeReload(const tagReloadResult& result);

// {"outcome": "done", "pid": N} and so on.
Json ReloadDocument(const tagReloadResult& result);

// After a change that is already stored: reloads, adds "reload" to the document and a line to the text, and
// prints both. Throws CtlError, with the answer printed, when the daemon could not be told or has no
// settings.
void PrintChange(Json document, std::string text);
