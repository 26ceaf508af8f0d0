#include "service/daemon_note.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>

#include "common/profile.h"
#include "common/traffic_counters.h"
#include "service/read_config.h"
#include "service/service_config.h"

namespace {
bool PrintNote(int fd);
}  // namespace

int WriteDaemonNote() {
    (void)mkdir(DAEMON_NOTE_DIR, 0755);
    // Nobody may read half of one.
    (void)unlink(DAEMON_NOTE_FILE);
    constexpr char NEW_FILE[] = "/run/websec/daemon.new";
    const int fd = open(NEW_FILE, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) return errno;
    int nError = PrintNote(fd) ? 0 : ENOSPC;
    close(fd);
    if (nError == 0 && rename(NEW_FILE, DAEMON_NOTE_FILE) != 0) nError = errno;
    if (nError != 0) (void)unlink(NEW_FILE);
    return nError;
}

int ReadNotedRules() {
    if (access(DAEMON_NOTE_FILE, R_OK) != 0) return 1;
    ReadRuleKeys(DAEMON_NOTE_FILE);
    return 0;
}

int64_t ReadNotedSettingsTime() {
    char szValue[32] = "";
    unsigned int nError = 0;
    (void)GetPrivateProfileString("Daemon", "SettingsTime", "0", szValue, sizeof szValue, DAEMON_NOTE_FILE,
                                  &nError);
    return std::strtoll(szValue, nullptr, 10);
}

namespace {
bool PrintNote(int fd) {
    const tagServiceConfig& config = g_ServiceConfig;
    return dprintf(fd,
                   "[IPTABLEConfigurations]\nqueueNum=%" PRIu32
                   "\niptableTable=%s\niptableChain=%s\n"
                   "UseDefinedPorts=%u\nHTTPPorts=%s\nHTTPSPorts=%s\nFTPPorts=%s\n"
                   "[Daemon]\nSettingsTime=%" PRIu64 "\n",
                   config.nQueueNum, config.szIptableTable, config.szIptableChain,
                   unsigned{config.bUseDefinedPorts}, config.szHTTPPorts, config.szHTTPSPorts,
                   config.szFTPPorts, g_pTrafficCounters->counts[COUNT_SETTINGS_TIME].load()) > 0;
}
}  // namespace
