// Whether the firewall rules that feed the queue are there.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// How many of the rules that `iptables -S` lists send to that queue.
uint32_t CountQueueRules(std::string_view listing, uint32_t nQueueNum);

// Lists the chain with the iptables that the daemon uses and counts. Throws CtlError with the cause: no
// iptables, no rights, no such chain.
uint32_t CountInstalledRules(const std::string& table, const std::string& chain, uint32_t nQueueNum);
