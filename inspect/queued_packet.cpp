#include "inspect/queued_packet.h"

#include <linux/netfilter.h>

#include <chrono>
#include <cstddef>
#include <cstring>

#include "block/block_reset.h"
#include "common/monotonic_ms.h"
#include "common/traffic_counters.h"
#include "inspect/build_request.h"
#include "inspect/data_part.h"
#include "inspect/decision_flow.h"
#include "inspect/excluded_range.h"
#include "inspect/ipv4_tcp.h"
#include "inspect/request_gathering.h"
#include "intercept/packet_info.h"
#include "intercept/queue_attributes.h"
#include "report/block_report.h"
#include "service/service_config.h"

namespace {
bool TakePayload(const nlmsghdr* pMessage, tagPacketInfo& packet);
void JudgePacket(tagPacketInfo& packet);
void JudgeLivePacket(tagPacketInfo& packet);
uint8_t JudgeRequests(tagPacketInfo& part, tagStreamBuffer& gathered, tagWebRequest& request);
void ClearRequest(tagWebRequest& request);
void BlockPacket(tagPacketInfo& packet, tagWebRequest& request);
bool DissectPacket(tagPacketInfo& packet, const tagWebRequest& request);
uint8_t JudgeAndCount(tagWebRequest& request);
uint8_t BlockCounter(uint32_t nResult);
}  // namespace

int OnQueuePacket(const nlmsghdr* pMessage, void* pPacketInfo) {
    auto& packet = *static_cast<tagPacketInfo*>(pPacketInfo);
    packet.nVerdict = NF_ACCEPT;
    if (!TakePayload(pMessage, packet)) return MNL_CB_STOP;
    if (g_bLiveTraffic == 1) {
        JudgeLivePacket(packet);
    } else {
        JudgePacket(packet);
    }
    return MNL_CB_STOP;
}

namespace {
// Fills packet id, length and start of the packet; false when the message carries no packet.
bool TakePayload(const nlmsghdr* pMessage, tagPacketInfo& packet) {
    tagQueueAttrTable table;
    ParseQueueMessage(pMessage, table);
    packet.nPacketId = QueuedPacketId(table);
    const nlattr* pPayload = table[NFQA_PAYLOAD];
    if (!pPayload) return false;
    packet.nPacketLen = mnl_attr_get_payload_len(pPayload);
    packet.pPacket = static_cast<const uint8_t*>(mnl_attr_get_payload(pPayload));
    if (g_bLiveTraffic == 1) ReadDeliveryNotes(pMessage, packet);
    return true;
}

// The packet stands for itself.
void JudgePacket(tagPacketInfo& packet) {
    tagWebRequest request;
    ClearRequest(request);
    if (!DissectPacket(packet, request) || !BuildRequest(packet, request)) return;
    if (JudgeAndCount(request) == NF_DROP) BlockPacket(packet, request);
}

// The packet may be a piece of a request, or hold several.
void JudgeLivePacket(tagPacketInfo& packet) {
    tagWebRequest request;
    ClearRequest(request);
    if (!DissectPacket(packet, request)) return;
    tagStreamBuffer gathered;
    tagPacketInfo part = DataPart(packet);
    switch (GatherRequest(part, gathered, MonotonicMs())) {
        case GATHER_JUDGE:
            if (JudgeRequests(part, gathered, request) == NF_DROP) {
                BlockPacket(packet, request);
                RememberBlocked(packet, MonotonicMs());
                return;
            }
            RememberAllowed(packet, MonotonicMs());
            break;
        case GATHER_DROP:
            // Its client did not take the reset, or has not seen it yet.
            (void)SendBlockReset(&packet);
            packet.nVerdict = NF_DROP;
            return;
        case GATHER_DROP_COPY:
            packet.nVerdict = NF_DROP;
            return;
    }
    packet.nStreamMark = part.nStreamMark;
}

// Judges the request that the part begins with and those behind it. Returns NF_DROP with the record of the
// first one that is blocked, else NF_ACCEPT.
uint8_t JudgeRequests(tagPacketInfo& part, tagStreamBuffer& gathered, tagWebRequest& request) {
    do {
        if (BuildRequest(part, request) && JudgeAndCount(request) == NF_DROP) return NF_DROP;
        if (part.nNextRequest == part.nDataLen) break;
        StepTo(part, part.nNextRequest);
        ClearRequest(request);
    } while (GatherNextRequest(part, gathered, MonotonicMs()) == GATHER_JUDGE);
    return NF_ACCEPT;
}

// All but the text of the categories, which is most of the record and an empty text until the lookup.
void ClearRequest(tagWebRequest& request) {
    constexpr size_t BEHIND = offsetof(tagWebRequest, szCategories) + sizeof request.szCategories;
    auto* pBytes = reinterpret_cast<uint8_t*>(&request);
    std::memset(pBytes, 0, offsetof(tagWebRequest, szCategories) + 1);
    std::memset(pBytes + BEHIND, 0, sizeof request - BEHIND);
}

void BlockPacket(tagPacketInfo& packet, tagWebRequest& request) {
    (void)WriteBlockReport(&request, &packet);
    (void)SendBlockReset(&packet);
    packet.nVerdict = NF_DROP;
}

// Whether the packet is sound and its destination is looked at.
bool DissectPacket(tagPacketInfo& packet, const tagWebRequest& request) {
    if (ParseIPv4TCP(&packet, &request) != 0) {
        CountTraffic(COUNT_UNJUDGED_DAMAGED);
        return false;
    }
    if (IsDestinationExcluded(&packet) != 0) return true;
    if (g_bLiveTraffic == 1) packet.nStreamMark = STREAM_RELEASE;  // nor is anything behind it
    return false;
}

uint8_t JudgeAndCount(tagWebRequest& request) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    const uint8_t nVerdict = JudgeRequest(request);
    const auto nTaken = std::chrono::nanoseconds(Clock::now() - start).count();
    CountTraffic(COUNT_LOOKUPS);
    CountTraffic(COUNT_LOOKUP_NANOSECONDS, static_cast<uint64_t>(nTaken));
    if (nVerdict == NF_DROP) CountTraffic(BlockCounter(request.nResult));
    return nVerdict;
}

uint8_t BlockCounter(uint32_t nResult) {
    switch (nResult) {
        case RESULT_FRAUDULENT:
            return COUNT_BLOCKED_PHISHING;
        case RESULT_HARMFUL:
            return COUNT_BLOCKED_HARMFUL;
        case RESULT_CATEGORY:
            return COUNT_BLOCKED_CATEGORY;
        default:
            return COUNT_BLOCKED_LIST;
    }
}
}  // namespace
