#include "inspect/decision_flow.h"

#include <linux/netfilter.h>

#include <chrono>
#include <cstring>
#include <span>
#include <string_view>

#include "block/block_reset.h"
#include "category/category_engine.h"
#include "category/category_lookup.h"
#include "category/category_names.h"
#include "category/category_policy.h"
#include "category/translate.h"
#include "common/copy_text.h"
#include "common/monotonic_ms.h"
#include "common/traffic_counters.h"
#include "inspect/build_url.h"
#include "inspect/excluded_range.h"
#include "inspect/ftp_command.h"
#include "inspect/hello_prefix.h"
#include "inspect/http_request.h"
#include "inspect/ipv4_tcp.h"
#include "inspect/live_detect.h"
#include "inspect/protocol_detect.h"
#include "inspect/request_gathering.h"
#include "inspect/request_prefix.h"
#include "inspect/tls_client_hello.h"
#include "inspect/url_helpers.h"
#include "intercept/packet_info.h"
#include "intercept/queue_attributes.h"
#include "policy/list_match.h"
#include "policy/pattern_match.h"
#include "policy/policy_switches.h"
#include "policy/url_scanner.h"
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
bool BuildRequest(tagPacketInfo& packet, tagWebRequest& request);
int RecogniseRequest(const tagPacketInfo& packet, tagWebRequest& request);
bool FindServerName(const tagPacketInfo& packet, tagWebRequest& request);
uint8_t JudgeAndCount(tagWebRequest& request);
uint8_t BlockCounter(uint32_t nResult);
bool IsTrusted(tagWebRequest& request);
uint8_t JudgeCategory(tagWebRequest& request);
uint8_t JudgeThreatCategory(tagWebRequest& request);
uint8_t BlockWithText(tagWebRequest& request, const char* szKey);
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

uint8_t JudgeRequest(tagWebRequest& request) {
    if (std::string_view(request.szURL).starts_with("http://localhost/")) return NF_ACCEPT;
    (void)NormaliseURL(&request);

    if (CheckExclusionList(&request) == 0 && request.nResult == RESULT_EXCLUDED) return NF_ACCEPT;
    (void)MarkIPHost(&request);

    if (ScanURL(&request) == 0 &&
        (request.nResult == RESULT_FRAUDULENT || request.nResult == RESULT_HARMFUL)) {
        return IsTrusted(request) ? NF_ACCEPT : NF_DROP;
    }
    if (CheckBlockLists(&request) == 0 &&
        (request.nResult == RESULT_BLOCK_HOST || request.nResult == RESULT_BLOCK_URL)) {
        return BlockWithText(request, "ws_rpt_blocklisturl");
    }
    if (LookupURLCategories(&request) != 0) return NF_ACCEPT;
    if (CheckBlockedCategory(&request) != 0 || request.nResult != RESULT_CATEGORY) return NF_ACCEPT;
    return JudgeCategory(request);
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
        const size_t nNext = FindNextRequest({part.pData, part.nDataLen});
        if (nNext == part.nDataLen) break;
        part.pData += nNext;
        part.nDataLen = static_cast<uint16_t>(part.nDataLen - nNext);
        part.nSeq += static_cast<uint32_t>(nNext);
        ClearRequest(request);
    } while (GatherNextRequest(part, gathered, MonotonicMs()) == GATHER_JUDGE);
    return NF_ACCEPT;
}

void ClearRequest(tagWebRequest& request) {
    std::memset(static_cast<void*>(&request), 0, sizeof request);
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
    return IsDestinationExcluded(&packet) != 0;
}

// Builds the URL that the data asks for; false when there is none to judge.
bool BuildRequest(tagPacketInfo& packet, tagWebRequest& request) {
    if (RecogniseRequest(packet, request) != 0) return false;
    switch (request.nProtocol) {
        case PROTO_HTTP:
            (void)ExtractHTTPRequest(&packet, &request);
            (void)BuildHTTPURL(&request);
            return true;
        case PROTO_HTTPS:
            if (!FindServerName(packet, request)) return false;
            (void)BuildHTTPSURL(&request);
            return true;
        case PROTO_FTP:
            (void)ExtractFTPArgument(&packet, &request);
            (void)SetFTPServerHost(&packet, &request);
            (void)BuildFTPURL(&request);
            return true;
        default:
            return false;
    }
}

// As DetectProtocol returns; with LiveTraffic 1 by the start of the data alone.
int RecogniseRequest(const tagPacketInfo& packet, tagWebRequest& request) {
    if (g_bLiveTraffic != 1) return DetectProtocol(&packet, &request);
    tagRequestStart start;
    if (DetectStart({packet.pData, packet.nDataLen}, start) != PREFIX_ENOUGH) return -1;
    request.nProtocol = start.nProtocol;
    request.nMethod = start.nMethod;
    return 0;
}

// A name of a single character is not inspected.
bool FindServerName(const tagPacketInfo& packet, tagWebRequest& request) {
    if (g_bLiveTraffic == 1) {
        return FindHelloName({packet.pData, packet.nDataLen}, request.szHost) == PREFIX_ENOUGH;
    }
    if (ExtractTLSServerName(&packet, &request) > 1) return true;
    CountTraffic(COUNT_UNJUDGED_NO_NAME);
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

// Whether the user's trusted sites or the built-in trusted patterns lift a finding.
bool IsTrusted(tagWebRequest& request) {
    if (CheckTrustedSites(&request) == 0 && request.nResult == RESULT_EXCLUDED) return true;
    return CheckTrustedURLs(&request) == 0 && request.nResult == RESULT_SCAN_TRUSTED;
}

// nCategory is a blocked category. In the library modes two of them stand for the two site protections.
uint8_t JudgeCategory(tagWebRequest& request) {
    if (UsesEngineLibrary() &&
        (request.nCategory == CATEGORY_HARMFUL || request.nCategory == CATEGORY_PHISHING)) {
        return JudgeThreatCategory(request);
    }
    if (g_bWebCategoryFilter != 1) return NF_ACCEPT;
    if (CheckAllowLists(&request) == 0 &&
        (request.nResult == RESULT_ALLOW_HOST || request.nResult == RESULT_ALLOW_URL)) {
        return NF_ACCEPT;
    }
    (void)SetCategoryName(&request);
    return NF_DROP;
}

uint8_t JudgeThreatCategory(tagWebRequest& request) {
    if (g_bPhishingProtection != 1 && g_bBrowsingProtection != 1) return NF_ACCEPT;
    if (IsTrusted(request)) return NF_ACCEPT;
    if (request.nCategory == CATEGORY_HARMFUL && g_bBrowsingProtection == 1) {
        request.nResult = RESULT_HARMFUL;
        return BlockWithText(request, "ws_rpt_harmfulurl");
    }
    if (request.nCategory == CATEGORY_PHISHING && g_bPhishingProtection == 1) {
        request.nResult = RESULT_FRAUDULENT;
        return BlockWithText(request, "ws_rpt_fradulanturl");
    }
    return NF_ACCEPT;
}

uint8_t BlockWithText(tagWebRequest& request, const char* szKey) {
    (void)WidenText(request.wszReportText, TranslateText(szKey));
    return NF_DROP;
}
}  // namespace
