#include "inspect/excluded_range.h"

#include <arpa/inet.h>

#include "policy/policy_state.h"
#include "policy/range_index.h"

int IsDestinationExcluded(const tagPacketInfo* pPacket) {
    return IsInRanges(g_ExcludedRanges, ntohl(pPacket->nDstAddr)) ? 0 : 1;
}
