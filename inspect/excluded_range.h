// Destinations that are let through unseen. Reads g_ExcludedRanges (policy/policy_state.h), which no load
// replaces while a worker is in the decision flow.
#pragma once

#include "intercept/packet_info.h"

// 0 when nDstAddr lies in one of the excluded ranges, bounds included, else 1.
int IsDestinationExcluded(const tagPacketInfo* pPacket);
