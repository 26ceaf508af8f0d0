#include "ctl/proc_file.h"

#include <dirent.h>
#include <limits.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

std::optional<std::string> ReadProcLink(const std::string& path) {
    char szTarget[PATH_MAX];
    const ssize_t n = readlink(path.c_str(), szTarget, sizeof szTarget);
    if (n < 0) return std::nullopt;
    return std::string(szTarget, static_cast<size_t>(n));
}

std::vector<pid_t> ListProcesses() {
    std::vector<pid_t> pids;
    const std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir("/proc"), closedir);
    while (const dirent* pEntry = dir ? readdir(dir.get()) : nullptr) {
        char* szEnd = nullptr;
        const long pid = std::strtol(pEntry->d_name, &szEnd, 10);
        if (pid > 0 && *szEnd == '\0') pids.push_back(static_cast<pid_t>(pid));
    }
    std::sort(pids.begin(), pids.end());
    return pids;
}

std::string ProcPath(pid_t pid, const char* szName) {
    return "/proc/" + std::to_string(pid) + "/" + szName;
}
