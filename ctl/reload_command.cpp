// websecctl reload: makes the running daemon read its settings anew.
#include "ctl/commands.h"
#include "ctl/daemon_process.h"
#include "ctl/output.h"

namespace {

void Reload();

}  // namespace

void AddReloadCommand(CLI::App& app) {
    CLI::App* pReload = app.add_subcommand("reload", "Make the running daemon read its settings anew");
    pReload->footer("Example: websecctl reload");
    pReload->final_callback(Reload);
}

namespace {

void Reload() {
    const tagReloadResult result = ReloadDaemon();
    const std::string text = DescribeReload(result);
    const bool bReloads = result.outcome == ReloadOutcome::Done ||
                          result.outcome == ReloadOutcome::Starting ||
                          result.outcome == ReloadOutcome::StillWorking;
    PrintAnswer(ReloadDocument(result), bReloads ? text : "");
    if (!bReloads) throw CtlError(text);
}

}  // namespace
