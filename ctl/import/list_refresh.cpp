#include "ctl/import/list_refresh.h"

#include <signal.h>

#include <cerrno>
#include <cstring>

#include "ctl/daemon_process.h"
#include "ctl/store_connection.h"

namespace {

void TellCategoryServers(Json& told, std::string& text, std::string& failures);

}  // namespace

void PrintListChange(Json document, std::string text) {
    // The switches of a new store are new to the daemon, too.
    if (WasStoreMade()) (void)ReloadDaemon();
    const tagReloadResult daemon = RefreshDaemon();
    std::string failures;
    if (daemon.outcome == ReloadOutcome::NotPermitted) {
        failures = DescribeReload(daemon);
    } else {
        text += "\n" + DescribeReload(daemon);
    }
    Json servers = Json::array();
    TellCategoryServers(servers, text, failures);
    document["refresh"] = {{"websec", ReloadDocument(daemon)}, {"websec-catserver", std::move(servers)}};
    PrintAnswer(document, text);
    if (!failures.empty()) throw CtlError(failures + "; the change is in force from its next start");
}

namespace {

void TellCategoryServers(Json& told, std::string& text, std::string& failures) {
    constexpr uint64_t SIGHUP_BIT = uint64_t{1} << (SIGHUP - 1);
    for (const tagDaemonProcess& server : FindProgram("websec-catserver")) {
        const std::string name = "websec-catserver (pid " + std::to_string(server.pid) + ")";
        // It takes the signal from a descriptor; before it has that, the signal would end it.
        const bool bTakes =
            ((server.status.nBlockedSignals | server.status.nCaughtSignals) & SIGHUP_BIT) != 0;
        if (bTakes && kill(server.pid, SIGHUP) != 0) {
            failures += (failures.empty() ? "" : "; ") + name + ": " + std::strerror(errno);
            continue;
        }
        text +=
            "\n" + name + (bTakes ? " was told to read its lists" : " is just starting and reads its lists");
        told.push_back(server.pid);
    }
}

}  // namespace
