// websecctl reload: makes the running daemon read its settings anew.
#include <string>

#include "ctl/commands.h"
#include "ctl/daemon_process.h"
#include "ctl/output.h"
#include "ctl/settings_check.h"

namespace {

void Reload();
void RefuseVainReload(const tagDaemonProcess& daemon);

}  // namespace

void AddReloadCommand(CLI::App& app) {
    CLI::App* pReload = app.add_subcommand("reload", "Make the running daemon read its settings anew");
    pReload->footer("Example: websecctl reload");
    pReload->final_callback(Reload);
}

namespace {

void Reload() {
    if (const auto daemon = FindDaemon()) RefuseVainReload(*daemon);
    const tagReloadResult result = ReloadDaemon();
    const std::string text = DescribeReload(result);
    const bool bReloads = result.outcome == ReloadOutcome::Done ||
                          result.outcome == ReloadOutcome::Starting ||
                          result.outcome == ReloadOutcome::StillWorking;
    PrintAnswer(ReloadDocument(result), bReloads ? text : "");
    if (!bReloads) throw CtlError(text);
}

// A daemon that cannot read its settings returns from its handler just as one that can.
void RefuseVainReload(const tagDaemonProcess& daemon) {
    try {
        RefuseUnreadableSettings();
    } catch (const CtlError& error) {
        throw CtlError("websec (pid " + std::to_string(daemon.pid) +
                       ") was not told to reload, since it would keep its settings: " + error.what());
    }
}

}  // namespace
