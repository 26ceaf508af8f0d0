#include "inspect/excluded_range.h"

#include <arpa/inet.h>

#include <span>

#include "policy/policy_state.h"

int IsDestinationExcluded(const tagPacketInfo* pPacket) {
    const uint32_t nDestination = ntohl(pPacket->nDstAddr);
    for (const tagAddrRange& range : std::span(g_ExcludedRanges.pRanges, g_ExcludedRanges.nCount)) {
        // The first address is taken as it stands: it may lie inside its own network.
        const uint32_t nLast = range.nBase | ~ntohl(range.nMask);
        if (range.nBase <= nDestination && nDestination <= nLast) return 0;
    }
    return 1;
}
