#include "ctl/rule_count.h"

#include <algorithm>
#include <sstream>
#include <vector>

#include "ctl/output.h"
#include "ctl/run_program.h"
#include "service/read_config.h"

namespace {

std::string ListIPv6Filter();
bool AcceptsAll(std::string_view rule);

}  // namespace

std::string ListTable(const std::string& table) {
    const std::string path = IptablesPath();
    const tagProgramRun run = RunProgram({path, "-t", table, "-S"});
    if (run.nExitStatus != 0) {
        const std::string firstLine = run.output.substr(0, run.output.find('\n'));
        throw CtlError(path + " cannot list the rules: " + Printable(firstLine));
    }
    return run.output;
}

std::string RulesOf(std::string_view table, std::string_view chain) {
    const std::string rule = "-A " + std::string(chain) + ' ';
    std::string rules;
    std::istringstream lines{std::string(table)};
    for (std::string line; std::getline(lines, line);)
        if (line.starts_with(rule)) rules += line + '\n';
    return rules;
}

bool HasChain(std::string_view listing, std::string_view chain) {
    for (const char* szNew : {"-N ", "-P "}) {
        const std::string line = szNew + std::string(chain);
        for (size_t n = listing.find(line); n != listing.npos; n = listing.find(line, n + 1)) {
            const size_t nEnd = n + line.size();
            if (nEnd == listing.size() || listing[nEnd] == '\n' || listing[nEnd] == ' ') return true;
        }
    }
    return false;
}

bool HasCloseChain() {
    if (HasChain(ListTable("filter"), CLOSE_CHAIN)) return true;
    // Without one there is none over IPv6.
    return HasChain(ListIPv6Filter(), CLOSE_CHAIN);
}

bool IsCloseChainReached() {
    return IsReached(ListTable("filter"), CLOSE_CHAIN, true) ||
           IsReached(ListIPv6Filter(), CLOSE_CHAIN, true);
}

std::string IptablesPath(std::string_view program) {
    char szPath[512] = {};
    if (FindIptablesPath(szPath, sizeof szPath) == 0) {
        const std::string_view path = szPath;
        return std::string(path.substr(0, path.rfind('/') + 1)) + std::string(program);
    }
    throw CtlError(
        "there is no iptables binary on this host, and websec does not start without; install "
        "iptables");
}

namespace {

std::string ListIPv6Filter() {
    return RunProgram({IptablesPath("ip6tables"), "-t", "filter", "-S"}).output;
}

bool AcceptsAll(std::string_view rule) {
    constexpr std::string_view TCP = "-p tcp ";
    if (rule.starts_with(TCP)) rule.remove_prefix(TCP.size());
    return rule == "-j ACCEPT" || rule == "-j RETURN";
}

}  // namespace

uint32_t CountQueueRules(std::string_view listing, uint32_t nQueueNum) {
    uint32_t nRules = 0;
    std::istringstream lines{std::string(listing)};
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        bool bQueues = false;
        for (std::string word, last; words >> word; last = word) {
            bQueues |= last == "--queue-num" && word == std::to_string(nQueueNum);
        }
        nRules += bQueues;
    }
    return nRules;
}

std::string RulesText(uint32_t nRules, const std::string& table, const std::string& chain, bool bLive) {
    const std::string text = std::to_string(nRules) + " in " + Printable(table + ' ' + chain);
    return bLive ? text + ", and the chain " + LIVE_CHAIN : text;
}

bool IsReached(std::string_view table, std::string_view chain, bool bPastAccept) {
    std::vector<std::string> reached = {"OUTPUT", "POSTROUTING"};
    for (size_t n = 0; n < reached.size(); ++n) {
        const size_t nRule = sizeof("-A ") + reached[n].size();
        std::istringstream lines{RulesOf(table, reached[n])};
        for (std::string line; std::getline(lines, line);) {
            if (!bPastAccept && AcceptsAll(line.substr(nRule))) break;
            std::istringstream words(line);
            for (std::string word, last; words >> word; last = word) {
                const bool bTarget = last == "-j" || last == "-g";
                if (bTarget && std::find(reached.begin(), reached.end(), word) == reached.end())
                    reached.push_back(word);
            }
        }
    }
    return std::find(reached.begin(), reached.end(), chain) != reached.end();
}

bool HasJump(std::string_view listing, std::string_view chain) {
    const std::string jump = " -j " + std::string(chain) + "\n";
    return listing.find(jump) != listing.npos;
}
