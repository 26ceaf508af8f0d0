// Whether the firewall rules that feed the queue are there.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// What the daemon makes with LiveTraffic 1, in the table of its rules, and with CloseBypasses 1, in "filter".
constexpr char LIVE_CHAIN[] = "WEBSEC_LIVE";
constexpr char CLOSE_CHAIN[] = "WEBSEC_CLOSE";

// The rules of their own that the daemon puts into its chain.
constexpr uint32_t RULE_GROUPS = 3;

// How many of the rules that `iptables -S` lists send to that queue.
uint32_t CountQueueRules(std::string_view listing, uint32_t nQueueNum);

// Whether one of them jumps to that chain.
bool HasJump(std::string_view listing, std::string_view chain);

// How many there are in a table's chain, and whether LIVE_CHAIN, in words.
std::string RulesText(uint32_t nRules, const std::string& table, const std::string& chain, bool bLive);

// Whether the rules of a table lead what this host sends to that chain: from OUTPUT or POSTROUTING, also by
// way of other chains. Rules behind one that lets all TCP pass count only with bPastAccept.
bool IsReached(std::string_view table, std::string_view chain, bool bPastAccept);

// Whether `iptables -S` lists a chain of that name.
bool HasChain(std::string_view listing, std::string_view chain);

// Whether CLOSE_CHAIN is there, over IPv4 or IPv6, and whether anything that this host sends comes through
// it. Throw CtlError as the two below.
bool HasCloseChain();
bool IsCloseChainReached();

// The iptables that the daemon uses, or the program of that name beside it. Throws CtlError when there is
// none.
std::string IptablesPath(std::string_view program = "iptables");

// Lists a table with the iptables that the daemon uses. Throws CtlError with the cause: no iptables, no
// rights.
std::string ListTable(const std::string& table);

// The rules of one chain in that listing, each on a line; none when there is no such chain.
std::string RulesOf(std::string_view table, std::string_view chain);
