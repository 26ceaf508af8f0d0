#include "intercept/own_chains.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "intercept/run_command.h"

// Waits for another program's rule work, and keeps messages out of whatever descriptor 2 is.
#define WAIT " -w 5"
#define QUIET " 2>/dev/null"

namespace {
void ListChains(const tagOwnChains& chains, char (&szListing)[CHAIN_TEXT_BYTES]);
void BeginRestore(tagChainText& command, const tagOwnChains& chains, std::string_view listing);
int RunRestore(tagChainText& command);
}  // namespace

void AppendText(tagChainText& text, const char* szFormat, ...) {
    va_list arguments;
    va_start(arguments, szFormat);
    const size_t nRoom = sizeof text.szText - text.nLength;
    const int nAdded = std::vsnprintf(text.szText + text.nLength, nRoom, szFormat, arguments);
    va_end(arguments);
    if (nAdded < 0 || static_cast<size_t>(nAdded) >= nRoom) {
        text.szText[text.nLength] = '\0';
        text.bCut = 1;
    } else {
        text.nLength += static_cast<size_t>(nAdded);
    }
}

int PutOwnChains(const tagOwnChains& chains, const tagChainText& rules, tagChainsMade* pMade) {
    char szListing[CHAIN_TEXT_BYTES];
    ListChains(chains, szListing);
    if (szListing[0] != '\0' && std::strcmp(pMade->rules.szText, rules.szText) == 0 &&
        std::strcmp(pMade->szListing, szListing) == 0) {
        return 0;
    }
    tagChainText command{};
    BeginRestore(command, chains, szListing);
    AppendText(command, "%s-I %s 1 %s -j %s\n", rules.szText, chains.szParent, chains.szJumpMatch,
               chains.names[0]);
    command.bCut |= rules.bCut;
    const int nStatus = RunRestore(command);
    if (nStatus != 0) return nStatus;
    pMade->rules = rules;
    ListChains(chains, pMade->szListing);
    return 0;
}

void RemoveOwnChains(const tagOwnChains& chains) {
    char szListing[CHAIN_TEXT_BYTES];
    ListChains(chains, szListing);
    if (!std::strstr(szListing, chains.names[0])) return;
    tagChainText command{};
    BeginRestore(command, chains, szListing);
    // A second step: where somebody else's rule keeps a chain from going, it is at least empty by then.
    AppendText(command, "COMMIT\n*%s\n", chains.szTable);
    for (const char* szName : chains.names)
        AppendText(command, "-X %s\n", szName);
    (void)RunRestore(command);
}

namespace {
// The lines of the table's rules that tell of the chains, and those that queue packets: one before the jump
// would take packets away from the chains.
void ListChains(const tagOwnChains& chains, char (&szListing)[CHAIN_TEXT_BYTES]) {
    szListing[0] = '\0';
    tagChainText command{};
    AppendText(command, "%s" WAIT " -t %s -S" QUIET " | grep -e '%s' -e '--queue-num'", chains.szIptables,
               chains.szTable, chains.names[0]);
    uint32_t nStatus = 0;
    (void)RunCommand(command.szText, szListing, sizeof szListing, &nStatus);
}

// Up to where the chains are empty and nobody jumps to them.
void BeginRestore(tagChainText& command, const tagOwnChains& chains, std::string_view listing) {
    AppendText(command, "%s-restore" WAIT " --noflush" QUIET " <<'RULES'\n*%s\n", chains.szIptables,
               chains.szTable);
    const std::string_view name = chains.names[0];
    while (!listing.empty()) {
        const std::string_view line = listing.substr(0, listing.find('\n'));
        listing.remove_prefix(std::min(line.size() + 1, listing.size()));
        const bool bJump = line.starts_with("-A ") && line.ends_with(name) &&
                           line.substr(0, line.size() - name.size()).ends_with(" -j ");
        if (bJump) AppendText(command, "-D %.*s\n", static_cast<int>(line.size() - 3), line.data() + 3);
    }
    for (const char* szName : chains.names)
        AppendText(command, ":%s - [0:0]\n", szName);
}

int RunRestore(tagChainText& command) {
    AppendText(command, "COMMIT\nRULES\n");
    if (command.bCut) return 1;
    char szOutput[1];
    uint32_t nStatus = 1;
    (void)RunCommand(command.szText, szOutput, sizeof szOutput, &nStatus);
    return static_cast<int>(nStatus);
}
}  // namespace
