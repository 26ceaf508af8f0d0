#include "ctl/rule_count.h"

#include <sstream>

#include "ctl/output.h"
#include "ctl/run_program.h"
#include "service/read_config.h"

std::string ListRules(const std::string& table, const std::string& chain) {
    char szPath[512] = {};
    if (FindIptablesPath(szPath, sizeof szPath) != 0) {
        throw CtlError("there is no iptables binary on this host; install iptables");
    }
    const tagProgramRun run = RunProgram({szPath, "-t", table, "-S", chain});
    if (run.nExitStatus != 0) {
        const std::string firstLine = run.output.substr(0, run.output.find('\n'));
        throw CtlError(std::string(szPath) + " cannot list the rules: " + Printable(firstLine));
    }
    return run.output;
}

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

bool HasJump(std::string_view listing, std::string_view chain) {
    const std::string jump = " -j " + std::string(chain) + "\n";
    return listing.find(jump) != listing.npos;
}
