#include "inspect/decision_flow.h"

#include <linux/netfilter.h>

#include <cstring>
#include <string_view>

#include "block/block_reset.h"
#include "category/category_engine.h"
#include "category/category_lookup.h"
#include "category/category_names.h"
#include "category/category_policy.h"
#include "category/translate.h"
#include "common/copy_text.h"
#include "inspect/build_url.h"
#include "inspect/excluded_range.h"
#include "inspect/ftp_command.h"
#include "inspect/http_request.h"
#include "inspect/ipv4_tcp.h"
#include "inspect/protocol_detect.h"
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
bool BuildRequest(tagPacketInfo& packet, tagWebRequest& request);
bool IsTrusted(tagWebRequest& request);
uint8_t JudgeCategory(tagWebRequest& request);
uint8_t JudgeThreatCategory(tagWebRequest& request);
uint8_t BlockWithText(tagWebRequest& request, const char* szKey);
}  // namespace

int OnQueuePacket(const nlmsghdr* pMessage, void* pPacketInfo) {
    auto& packet = *static_cast<tagPacketInfo*>(pPacketInfo);
    packet.nVerdict = NF_ACCEPT;
    if (!TakePayload(pMessage, packet)) return MNL_CB_STOP;

    tagWebRequest request;
    std::memset(static_cast<void*>(&request), 0, sizeof request);
    if (!BuildRequest(packet, request) || JudgeRequest(request) == NF_ACCEPT) return MNL_CB_STOP;

    (void)WriteBlockReport(&request, &packet);
    (void)SendBlockReset(&packet);
    packet.nVerdict = NF_DROP;
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

// Dissects the packet and builds the URL that it asks for; false when there is none to judge.
bool BuildRequest(tagPacketInfo& packet, tagWebRequest& request) {
    if (ParseIPv4TCP(&packet, &request) != 0) return false;
    if (IsDestinationExcluded(&packet) == 0) return false;
    if (DetectProtocol(&packet, &request) != 0) return false;
    switch (request.nProtocol) {
        case PROTO_HTTP:
            (void)ExtractHTTPRequest(&packet, &request);
            (void)BuildHTTPURL(&request);
            return true;
        case PROTO_HTTPS:
            // A name of a single character is not inspected.
            if (ExtractTLSServerName(&packet, &request) <= 1) return false;
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

// Whether the user's trusted sites or the built-in trusted patterns lift a finding.
bool IsTrusted(tagWebRequest& request) {
    if (CheckTrustedSites(&request) == 0 && request.nResult == RESULT_EXCLUDED) return true;
    return CheckTrustedURLs(&request) == 0 && request.nResult == RESULT_SCAN_TRUSTED;
}

// nCategory is a blocked category. In the library modes two of them stand for the two site protections.
uint8_t JudgeCategory(tagWebRequest& request) {
    if (UsesEngineLibrary() && (request.nCategory == CATEGORY_HARMFUL || request.nCategory == CATEGORY_PHISHING)) {
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
