// websecctl rules: whether websec.cfg gives rules, and the firewall rules that a daemon left behind.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iomanip>
#include <sstream>

#include "common/copy_text.h"
#include "common/product_paths.h"
#include "ctl/commands.h"
#include "ctl/config_check.h"
#include "ctl/daemon_process.h"
#include "ctl/output.h"
#include "ctl/queue_owner.h"
#include "ctl/read_file.h"
#include "ctl/rule_count.h"
#include "ctl/run_program.h"
#include "intercept/close_rules.h"
#include "intercept/iptables_rules.h"
#include "service/daemon_note.h"
#include "service/read_config.h"
#include "service/service_config.h"

namespace {

// An orderly end takes less, also where a module hangs.
constexpr int END_SECONDS = 15;

void CheckRules();
void AwaitEnd();
void RemoveLeftRules();
void RefuseWhileRunning();
void RefuseWhileServed(uint32_t nQueueNum);
uint32_t WithoutErrors(uint32_t (*Do)());
uint32_t RemoveRulesOfEachKind();
uint32_t RemoveRules();
void RemoveListedRules();

}  // namespace

void AddRulesCommand(CLI::App& app) {
    CLI::App* pRules = app.add_subcommand("rules", "The firewall rules of websec");
    pRules->footer("Example: sudo websecctl rules check");
    pRules->require_subcommand(1);
    CLI::App* pCheck = pRules->add_subcommand("check", "Tell where websec.cfg puts them, and how many");
    pCheck->footer(
        "Refused when no rule can be made of it, or none that sees anything: websec's service then does not\n"
        "start. A port list of which none can be made is told; the rules of the others work.\n"
        "Example: sudo websecctl rules check");
    pCheck->final_callback(CheckRules);
    CLI::App* pEnded =
        pRules->add_subcommand("ended", "Wait for a websec that is just ending; 1 if one runs on");
    pEnded->footer("Example: websecctl rules ended");
    pEnded->final_callback(AwaitEnd);
    CLI::App* pRemove = pRules->add_subcommand("remove", "Take away what a websec that crashed has left");
    pRemove->footer(
        "Waits for a websec that is just ending; refused while one runs.\n"
        "Example: sudo websecctl rules remove");
    pRemove->final_callback(RemoveLeftRules);
}

namespace {

// packaging/libexec/own-chain reads the answer.
void CheckRules() {
    (void)IptablesPath();
    (void)ReadServiceConfig();
    const tagServiceConfig& config = g_ServiceConfig;
    const auto reasons = WhyNoRules(config);
    if (!reasons.empty()) {
        throw CtlError("refused: " + Joined(reasons, "; ") + "; correct " + SERVICE_CONFIG_FILE);
    }
    ReadLiveTraffic();
    const auto badLists = BadPortLists(config);
    // What iptables refuses of one list takes the whole chain of LiveTraffic along.
    const bool bLive = g_bLiveTraffic == 1 && badLists.empty();
    const uint32_t nRules = RULE_GROUPS - static_cast<uint32_t>(badLists.size());
    for (const auto& list : badLists)
        PrintWarning("of it no rule can be made: " + list + "; correct " + SERVICE_CONFIG_FILE);
    PrintAnswer({{"table", config.szIptableTable},
                 {"chain", config.szIptableChain},
                 {"count", nRules},
                 {"live", bLive},
                 {"without_rule", badLists}},
                RulesText(nRules, config.szIptableTable, config.szIptableChain, bLive));
}

void AwaitEnd() {
    RefuseWhileRunning();
    PrintAnswer({{"outcome", "ended"}}, "no websec runs");
}

// As the daemon takes them away when it ends, from where it noted that they are, or else from where
// websec.cfg says. The two keys may have been turned off since.
void RemoveLeftRules() {
    if (geteuid() != 0) throw CtlError("only root can change the firewall rules; run websecctl as root");
    RefuseWhileRunning();
    (void)IptablesPath();
    (void)ReadServiceConfig();
    (void)ReadNotedRules();
    tagServiceConfig& config = g_ServiceConfig;
    RefuseWhileServed(config.nQueueNum);
    if (!ArePortsFitForShell(config)) config.bUseDefinedPorts = 0;
    const uint32_t nRemoved = WithoutErrors(RemoveRulesOfEachKind);
    const auto left = [&config] { return RulesOf(ListTable(config.szIptableTable), config.szIptableChain); };
    if (IsPlaceForRules(config) && CountQueueRules(left(), config.nQueueNum) != 0) {
        throw CtlError("iptables did not take all rules away; run websecctl rules remove again");
    }
    (void)unlink(DAEMON_NOTE_FILE);
    const std::string told = nRemoved == 0 ? "there were none that queue"
                                           : "removed " + Counted(nRemoved, "rule") + " that queued";
    PrintAnswer({{"outcome", "removed"}, {"removed", nRemoved}}, "no rules of websec are left; " + told);
}

void RefuseWhileRunning() {
    if (const auto daemon = FindSettledDaemon(END_SECONDS)) {
        throw CtlError("websec is running (pid " + std::to_string(daemon->pid) +
                       ") and needs its rules; they go when it ends");
    }
}

// By a daemon that this process may not see: with more rights, or in another pid namespace. Of one that was
// killed the last threads may be on their way out.
void RefuseWhileServed(uint32_t nQueueNum) {
    const auto isServing = [nQueueNum](const tagQueueOwner& owner) {
        return owner.pid == 0 && owner.queue.nQueueNum == nQueueNum;
    };
    for (int nLooks = 0; std::ranges::any_of(FindQueueOwners(), isServing); ++nLooks) {
        if (nLooks == 10) {
            throw CtlError("a websec that cannot be seen from here is running: queue " +
                           std::to_string(nQueueNum) + " is read");
        }
        usleep(100'000);
    }
}

// iptables complains about each chain that has gone already.
uint32_t WithoutErrors(uint32_t (*Do)()) {
    const int fdErrors = dup(STDERR_FILENO), fdNull = open("/dev/null", O_WRONLY);
    (void)dup2(fdNull, STDERR_FILENO);
    const uint32_t nDone = Do();
    (void)dup2(fdErrors, STDERR_FILENO);
    close(fdNull);
    close(fdErrors);
    return nDone;
}

// The host may have gone over to the other kind of iptables while websec ran. The legacy one would load its
// kernel modules where it has never been used. How many queue rules there were.
uint32_t RemoveRulesOfEachKind() {
    namespace fs = std::filesystem;
    std::error_code ignored;
    const std::string usual = g_ServiceConfig.szIptablesPath;
    const bool bLegacyUsed = !ReadTextFile("/proc/net/ip_tables_names").value_or("").empty();
    g_bLiveTraffic = 1;
    g_bCloseBypasses = 1;
    uint32_t nRemoved = RemoveRules();
    for (const char* szKind : {"-nft", "-legacy"}) {
        const std::string other = usual + szKind;
        const bool bOther = access(other.c_str(), X_OK) == 0 && !fs::equivalent(usual, other, ignored);
        if (!bOther || (szKind == std::string("-legacy") && !bLegacyUsed)) continue;
        (void)CopyText(g_ServiceConfig.szIptablesPath, other);
        nRemoved += RemoveRules();
    }
    return nRemoved;
}

// Where there can be no rules, the chain in "filter" may be left all the same.
uint32_t RemoveRules() {
    const tagServiceConfig& config = g_ServiceConfig;
    if (!IsPlaceForRules(config)) {
        ManageCloseRules(RULE_REMOVE);
        return 0;
    }
    const tagProgramRun listed = RunProgram({config.szIptablesPath, "-t", config.szIptableTable, "-S"});
    (void)ManageIptableRules(RULE_REMOVE);
    RemoveListedRules();
    return CountQueueRules(listed.output, config.nQueueNum);
}

// Of ports that are names, or that a shell made, the listing alone tells what they have become.
void RemoveListedRules() {
    const tagServiceConfig& config = g_ServiceConfig;
    const std::vector<std::string> program = {config.szIptablesPath, "-t", config.szIptableTable};
    auto list = program;
    list.insert(list.end(), {"-S", config.szIptableChain});
    std::istringstream lines(RunProgram(list).output);
    for (std::string line; std::getline(lines, line);) {
        const bool bOurs = line.find(" PSH,ACK ") != line.npos;
        if (!bOurs || CountQueueRules(line, config.nQueueNum) == 0) continue;
        std::istringstream words(line.replace(0, 2, "-D"));
        auto arguments = program;
        for (std::string word; words >> std::quoted(word);)
            arguments.push_back(word);
        (void)RunProgram(arguments);
    }
}

}  // namespace
