// The firewall rules that LiveTraffic 1 adds: chains of our own before the three plain rules, which stay.
//
// A segment that starts a request (any of ten words, or a TLS ClientHello, whatever its flags) goes to the
// queue, and with it its connection becomes watched (STREAM_MARK_WATCHED): the outgoing data behind it comes
// to the queue as well, while bare acknowledgements and the other side's data do not. A packet that the
// daemon has sent through the rules once more carries STREAM_MARK_RELEASE or STREAM_MARK_WATCH: the
// connection's mark follows it, the packet's is taken off again, and it passes.
//
// Where the kernel cannot track connections, starts alone are queued; where it refuses these rules
// altogether, the plain ones do what they can; no packet gets a mark then.
#pragma once

#include <cstdint>

// RULE_ADD: makes the chains, puts back what is missing and repairs what was changed; a single command when
// nothing was. RULE_REMOVE: takes them away, also those that a crash left. One pass at a time
// (intercept/iptables_rules.h).
void ManageLiveRules(uint32_t nMode);

// Whether the rules are in force that watch connections and read STREAM_MARK_*. Any thread.
bool AreConnectionsWatched();
