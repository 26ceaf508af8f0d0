// The port lists of websec.cfg, as the rules name them. Pure functions; any thread.
#pragma once

#include <string_view>

// Whether iptables takes the text for its multiport match: ports and ranges FROM:TO with commas between, 15
// numbers at most (XT_MULTI_PORTS of linux/netfilter/xt_multiport.h), blanks only around all of it.
bool IsPortList(std::string_view text);
