// The section of status about the firewall rules.
#include <linux/capability.h>
#include <unistd.h>

#include "ctl/config_check.h"
#include "ctl/rule_count.h"
#include "ctl/status.h"

namespace {

constexpr char MISSING_RULES[] =
    "websec puts missing rules back within a minute, a reload does not; to have them at once, ";
constexpr char RESTORE_CHAIN[] =
    "sudo /usr/libexec/websec/own-chain restore; websec's service does so each minute";

void JudgeLeftRules(tagStatus& status, const tagHost& host, const std::string& table, uint32_t nRules);
void JudgeRules(tagStatus& status, const tagHost& host, uint32_t nRules, bool bLive);
void JudgeWay(tagStatus& status, const tagHost& host, const std::string& table);
void JudgeCloseChain(tagStatus& status, const tagHost& host);
bool IsKernelChain(const std::string& table, const std::string& chain);
std::string ChainRemedy(const tagHost& host);

}  // namespace

void AddRules(tagStatus& status, tagHost& host) {
    if (geteuid() != 0) throw CtlError("only root can see the firewall rules; run websecctl as root");
    const std::string table = ListTable(host.Table());
    const bool bChain = HasChain(table, host.Chain());
    const std::string listing = RulesOf(table, host.Chain());
    const uint32_t nRules = CountQueueRules(listing, host.nServedQueueNum);
    const bool bLive = HasJump(listing, LIVE_CHAIN);
    status.document["rules"] = {
        {"table", host.Table()}, {"chain", host.Chain()}, {"count", nRules}, {"live", bLive}};
    status.rows.push_back(
        {"rules", bChain ? RulesText(nRules, host.Table(), host.Chain(), bLive)
                         : "no chain " + Quoted(host.Chain()) + " in " + Printable(host.Table())});
    if (!host.daemon) {
        JudgeLeftRules(status, host, table, nRules);
    } else if (!bChain) {
        status.Fail("there is no chain " + Quoted(host.Chain()) + " in " + Printable(host.Table()) +
                        ": websec sees nothing",
                    ChainRemedy(host));
    } else {
        JudgeRules(status, host, nRules, bLive);
        JudgeWay(status, host, table);
        JudgeCloseChain(status, host);
    }
}

namespace {

// What a daemon that was killed has left.
void JudgeLeftRules(tagStatus& status, const tagHost& host, const std::string& table, uint32_t nRules) {
    std::vector<std::string> left;
    if (nRules != 0) left.push_back(Counted(nRules, "rule") + " in " + host.Table() + " " + host.Chain());
    if (HasChain(table, LIVE_CHAIN)) left.push_back(std::string("the chain ") + LIVE_CHAIN);
    const bool bClose = HasCloseChain();
    if (bClose) left.push_back(std::string("the chain ") + CLOSE_CHAIN);
    const bool bReached = (nRules != 0 && IsReached(table, host.Chain(), true)) ||
                          IsReached(table, LIVE_CHAIN, true) || (bClose && IsCloseChainReached());
    if (!left.empty()) {
        // A start looks only where websec.cfg says by now.
        const bool bStartHelps = !host.AreRulesElsewhere() && host.rules.nQueueNum == host.config.nQueueNum;
        status.Fail("websec is not running, but has left " + Joined(left, " and ") +
                        (bReached ? ": requests that match get lost or are refused"
                                  : ": nothing that this host sends comes through"),
                    std::string("take that away: sudo websecctl rules remove; ") +
                        (bStartHelps ? "or start websec" : "then start websec"));
    }
    if (HasChain(table, host.Chain()) && !IsKernelChain(table, host.Chain())) {
        status.Warn("websec is not running, but its chain " + host.Chain() + " is in " + host.Table(),
                    "start websec, or take the chain away: sudo /usr/libexec/websec/own-chain remove");
    }
}

void JudgeRules(tagStatus& status, const tagHost& host, uint32_t nRules, bool bLive) {
    const std::string place = host.Table() + " " + host.Chain();
    // The section about websec.cfg tells of a list without a rule, and to correct what is wrong there.
    const size_t nBadLists = BadPortLists(host.rules).size();
    const std::string should = Counted(nRules, "rule") + " in " + place + " for queue " +
                               std::to_string(host.nServedQueueNum) + ", there should be " +
                               std::to_string(RULE_GROUPS);
    std::string repair;
    if (HasCapability(*host.daemon, CAP_NET_ADMIN)) repair = std::string(MISSING_RULES) + RESTART;
    if (!WhyNoRules(host.rules).empty() || nBadLists != 0) repair = RESTART;
    if (!WhyNoRules(host.config).empty() || !BadPortLists(host.config).empty()) repair.clear();
    if (nRules + nBadLists < RULE_GROUPS) status.Fail(should, repair);
    if (nRules > RULE_GROUPS) {
        status.Warn(should + "; of a rule that it finds twice websec clears the whole chain", RESTART);
    }
    if (host.bRunsLive && !bLive) {
        status.Fail(std::string("the chain ") + LIVE_CHAIN + " is not in " + place +
                        ": requests in several segments pass",
                    repair);
    }
}

void JudgeWay(tagStatus& status, const tagHost& host, const std::string& table) {
    const std::string chain = "the chain " + host.Chain() + " of " + host.Table();
    if (!IsReached(table, host.Chain(), true)) {
        status.Fail("nothing that this host sends comes through " + chain + ": websec sees nothing",
                    ChainRemedy(host));
    } else if (!IsReached(table, host.Chain(), false)) {
        status.Fail("a rule before " + chain + " lets everything pass: websec sees nothing",
                    "take that rule away, or put the jump to the chain above it");
    } else if (host.Table() == "nat") {
        status.Fail("the table nat sees only the first packet of a connection: websec sees nothing",
                    ChainRemedy(host));
    }
}

// A start looks for what a killed run has left only where it finds the counters that LiveTraffic leaves.
void JudgeCloseChain(tagStatus& status, const tagHost& host) {
    if (host.bCloseBypasses || IsConfigNewerThan(*host.daemon)) return;
    if (!HasCloseChain()) return;
    status.Warn(std::string("a run with CloseBypasses 1 that was killed has left the chain ") + CLOSE_CHAIN +
                    ": QUIC and IPv6 are still refused",
                "stop websec; sudo websecctl rules remove; start websec");
}

bool IsKernelChain(const std::string& table, const std::string& chain) {
    return table.find("-P " + chain + ' ') != table.npos;
}

std::string ChainRemedy(const tagHost& host) {
    if (!WhyNoRules(host.config).empty()) return "";
    return host.AreRulesElsewhere() || !WhyNoRules(host.rules).empty() ? RESTART : RESTORE_CHAIN;
}

}  // namespace
