// Chains of our own in a table that others use, too: made and taken away in one step (iptables-restore
// --noflush), so that no packet meets half of them and nobody else's rule is touched. The other chain's part
// is a single rule at its top, the jump.
//
// One pass at a time, like all rule work (intercept/iptables_rules.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

constexpr size_t CHAIN_TEXT_BYTES = 8192;

// A text built piece by piece; one that does not fit is bCut and must not be used.
struct tagChainText {
    char szText[CHAIN_TEXT_BYTES];
    size_t nLength;
    uint8_t bCut;
};
void AppendText(tagChainText& text, const char* szFormat, ...) __attribute__((format(printf, 2, 3)));

// Where the chains belong. The first name is the chain that is jumped to; the others begin with that name.
struct tagOwnChains {
    const char* szIptables;  // path of the binary; the same path with "-restore" behind it is used as well
    const char* szTable;
    const char* szParent;     // the chain that holds the jump
    const char* szJumpMatch;  // what the jump matches, iptables syntax; may be empty
    std::span<const char* const> names;
};

// What the last pass made, and how iptables lists it: any other listing means that somebody changed it.
struct tagChainsMade {
    tagChainText rules;
    char szListing[CHAIN_TEXT_BYTES];
};

// Makes the chains hold exactly these rules ("-A CHAIN ..." lines) with one jump at the parent's top; nothing
// to do when they are as the last pass made them and no rule of the parent that queues packets has come
// before the jump. What an earlier process left is taken over. Returns 0, or non-zero with the rules and
// *pMade as they were when iptables refuses.
int PutOwnChains(const tagOwnChains& chains, const tagChainText& rules, tagChainsMade* pMade);

// Takes the jumps to the chains and the chains away, if there are any.
void RemoveOwnChains(const tagOwnChains& chains);
