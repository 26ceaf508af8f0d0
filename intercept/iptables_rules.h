// The firewall rules that feed the queue: three groups (FTP commands, HTTP requests, TLS ClientHello
// records), each written with the u32 match and, where that cannot be installed, with the string match.
// Managed by running the iptables binary of g_ServiceConfig and reading its listing.
//
// One pass at a time: start-up and the end of run are alone, the watchdog and the reload hold the watchdog's
// mutex.
#pragma once

#include <cstdint>

enum : uint32_t { RULE_ADD = 1, RULE_REMOVE = 2 };

// Brings one rule into the wanted state: inserts it when it is missing (RULE_ADD), deletes it when it is
// there once (RULE_REMOVE); a rule found more than once empties the whole chain. szCheckKey is what the
// listing shows of the rule. Returns the exit status of the last command run, 1 when an argument is null.
uint32_t ApplyIptableRule(const char* szRuleText, const char* szCheckKey, uint32_t nMode);

// All three groups, and the chains of g_bLiveTraffic and g_bCloseBypasses. A group whose primary rule cannot
// be applied gets its fallback rule; a removal looks for the fallback in any case, so that no rule is left
// behind. Returns 0.
int ManageIptableRules(uint32_t nMode);

// At start-up, before the rules are added: takes away the chains of keys that are off now but were on in a
// run that crashed. The page of counters tells that there was such a run; a host where LiveTraffic 1 never
// ran runs no command for this.
void RemoveLeftChains();
