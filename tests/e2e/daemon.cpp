#include "tests/e2e/daemon.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <string_view>
#include <vector>

#include "common/traffic_counters.h"
#include "tests/e2e/lab.h"

namespace {
constexpr int CONTROL_SIGNALS[] = {SIGHUP, SIGUSR2, SIGTERM};

std::vector<pid_t> s_Daemons;  // started and not collected yet

std::vector<pid_t> Children();
unsigned long long SignalMask(pid_t pid, std::string_view name);
int ExitStatus(int nWait);
size_t CountEntries(const std::string& folder);
}  // namespace

tagDaemon LaunchDaemon(const std::string& prefix) {
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    const std::vector<pid_t> before = Children();
    const std::string command = "exec " + prefix + " " + DAEMON;
    const pid_t parent = fork();
    if (parent == 0) {
        execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
        _exit(127);
    }
    tagDaemon daemon;
    int nWait = 0;
    if (waitpid(parent, &nWait, 0) == parent) daemon.nParentStatus = ExitStatus(nWait);
    for (const pid_t pid : Children()) {
        if (std::find(before.begin(), before.end(), pid) == before.end()) daemon.pid = pid;
    }
    if (daemon.pid != 0) s_Daemons.push_back(daemon.pid);
    return daemon;
}

tagDaemon StartDaemon(const std::string& prefix) {
    const tagDaemon daemon = LaunchDaemon(prefix);
    EXPECT_EQ(daemon.nParentStatus, 0);
    EXPECT_TRUE(Within(30000, [&] { return LetsSignalsIn(daemon.pid) && QueueRules() == 3; }))
        << ChainRules();
    // The watchdog's first pass is through when no command of it runs any more.
    int nQuiet = 0;
    EXPECT_TRUE(Within(30000, [&] {
        const bool bQuiet = Shell("pgrep -P " + std::to_string(daemon.pid)).nStatus != 0;
        nQuiet = bQuiet && ThreadCount(daemon.pid) >= ALL_THREADS ? nQuiet + 1 : 0;
        return nQuiet == 5;
    }));
    return daemon;
}

bool HasHandlers(pid_t pid) {
    const auto nCaught = SignalMask(pid, "SigCgt:");
    return std::all_of(std::begin(CONTROL_SIGNALS), std::end(CONTROL_SIGNALS),
                       [nCaught](int nSignal) { return nCaught >> (nSignal - 1) & 1; });
}

bool LetsSignalsIn(pid_t pid) {
    if (!HasHandlers(pid)) return false;
    const auto nBlocked = SignalMask(pid, "SigBlk:");
    return std::none_of(std::begin(CONTROL_SIGNALS), std::end(CONTROL_SIGNALS),
                        [nBlocked](int nSignal) { return nBlocked >> (nSignal - 1) & 1; });
}

int AwaitEnd(tagDaemon& daemon, int nMilliseconds) {
    if (daemon.pid <= 0) return NOT_ENDED;
    int nWait = 0;
    if (!Within(nMilliseconds, [&] { return waitpid(daemon.pid, &nWait, WNOHANG) == daemon.pid; }))
        return NOT_ENDED;
    std::erase(s_Daemons, daemon.pid);
    daemon.pid = 0;
    return ExitStatus(nWait);
}

int StopDaemon(tagDaemon& daemon, int nMilliseconds) {
    if (daemon.pid > 0) kill(daemon.pid, SIGTERM);
    return AwaitEnd(daemon, nMilliseconds);
}

void HoldDaemon(const tagDaemon& daemon) {
    kill(daemon.pid, SIGSTOP);
    const std::string running = "grep -L 'State:.T' /proc/" + std::to_string(daemon.pid) + "/task/*/status";
    EXPECT_TRUE(Within(2000, [&] { return Shell(running).output.empty(); }));
}

size_t ThreadCount(pid_t pid) {
    return CountEntries("/proc/" + std::to_string(pid) + "/task");
}

size_t DescriptorCount(pid_t pid) {
    return CountEntries("/proc/" + std::to_string(pid) + "/fd");
}

uint64_t Count(uint8_t nCounter) {
    const std::string page = ReadFile(TRAFFIC_PAGE_FILE);
    const size_t nOffset = offsetof(tagTrafficCounters, counts) + nCounter * sizeof(uint64_t);
    uint64_t nCount = 0;
    if (page.size() >= nOffset + sizeof nCount) std::memcpy(&nCount, page.data() + nOffset, sizeof nCount);
    return nCount;
}

bool StopLeftDaemons() {
    bool bOrderly = true;
    for (const pid_t pid : std::vector(s_Daemons)) {
        tagDaemon daemon{0, pid};
        if (StopDaemon(daemon) == 0) continue;
        bOrderly = false;
        kill(pid, SIGKILL);
        (void)AwaitEnd(daemon);
    }
    return bOrderly;
}

namespace {
std::vector<pid_t> Children() {
    std::istringstream children(ReadFile("/proc/thread-self/children"));
    return std::vector<pid_t>(std::istream_iterator<pid_t>(children), {});
}

unsigned long long SignalMask(pid_t pid, std::string_view name) {
    const std::string status = ReadFile("/proc/" + std::to_string(pid) + "/status");
    const size_t nLine = status.find(name);
    return nLine == status.npos ? 0 : std::strtoull(status.c_str() + nLine + name.size(), nullptr, 16);
}

int ExitStatus(int nWait) {
    return WIFEXITED(nWait) ? WEXITSTATUS(nWait) : 128 + WTERMSIG(nWait);
}

size_t CountEntries(const std::string& folder) {
    std::error_code error;
    std::filesystem::directory_iterator entries(folder, error);
    return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}
}  // namespace
