// The firewall rules of CloseBypasses 1: what the daemon cannot judge is refused at once, so that clients
// fall back to what it can. A chain of our own in the filter table's OUTPUT, for IPv4 and IPv6:
//
//   QUIC (UDP 443)                                    port unreachable: clients go on over TCP
//   IPv6 TCP to the judged ports (80, 443, 21, or     reset: clients go on over IPv4
//   the port lists), while the host has a way out
//   over IPv4
//
// Loopback is left alone. Without ip6tables IPv6 is left alone, too.
#pragma once

#include <cstdint>

// RULE_ADD: makes the chains and puts back or repairs them; whether there is a way out over IPv4 is seen anew
// in each pass. RULE_REMOVE: takes them away, also those that a crash left. One pass at a time
// (intercept/iptables_rules.h).
void ManageCloseRules(uint32_t nMode);
