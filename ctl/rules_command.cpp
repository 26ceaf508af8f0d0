// websecctl rules: takes away the firewall rules that a daemon left behind.
#include <unistd.h>

#include "ctl/commands.h"
#include "ctl/daemon_process.h"
#include "ctl/output.h"
#include "ctl/rule_count.h"
#include "intercept/iptables_rules.h"
#include "service/daemon_note.h"
#include "service/read_config.h"
#include "service/service_config.h"

namespace {

void RemoveLeftRules();

}  // namespace

void AddRulesCommand(CLI::App& app) {
    CLI::App* pRules = app.add_subcommand("rules", "The firewall rules of a websec that crashed");
    pRules->require_subcommand(1);
    CLI::App* pRemove = pRules->add_subcommand("remove", "Take away what a websec that crashed has left");
    pRemove->footer("Example: sudo websecctl rules remove");
    pRemove->final_callback(RemoveLeftRules);
}

namespace {

// As the daemon takes them away when it ends, from where it noted that they are, or else from where
// websec.cfg says. The two keys may have been turned off since.
void RemoveLeftRules() {
    if (geteuid() != 0) throw CtlError("only root can change the firewall rules; run websecctl as root");
    if (const auto daemon = FindDaemon()) {
        throw CtlError("websec is running (pid " + std::to_string(daemon->pid) +
                       ") and needs its rules; they go when it ends");
    }
    if (ReadServiceConfig() != 0) {
        throw CtlError("there is no iptables binary on this host; install iptables");
    }
    (void)ReadNotedRules();
    g_bLiveTraffic = 1;
    g_bCloseBypasses = 1;
    (void)ManageIptableRules(RULE_REMOVE);
    const tagServiceConfig& config = g_ServiceConfig;
    // A chain of websec's own may have gone with its rules.
    if (HasChain(ListTable(config.szIptableTable), config.szIptableChain) &&
        CountQueueRules(ListRules(config.szIptableTable, config.szIptableChain), config.nQueueNum) != 0) {
        throw CtlError("iptables did not take all rules away; run websecctl rules remove again");
    }
    (void)unlink(DAEMON_NOTE_FILE);
    PrintAnswer({{"outcome", "removed"}}, "no rules of websec are left");
}

}  // namespace
