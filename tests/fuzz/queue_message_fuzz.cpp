// A datagram from the queue's netlink socket, through both callbacks as receiver and worker run them, with
// policy enough that packets can be blocked. An odd sequence number asks for the right checksums in the first
// message, so that what lies behind them is met too.
#include <arpa/inet.h>
#include <linux/netfilter.h>

#include <cstring>
#include <memory>

#include "block/block_reset.h"
#include "inspect/queued_packet.h"
#include "intercept/packet_store.h"
#include "intercept/queue_attributes.h"
#include "policy/list_entry.h"
#include "policy/url_scanner.h"
#include "service/service_config.h"
#include "tests/fuzz/fuzz_segment.h"
#include "tests/support/packet_composer.h"

static int g_nResets = 0;

// Takes the place of the real one: nothing is sent.
int SendBlockReset(const tagPacketInfo* pPacket) {
    ++g_nResets;
    Require(pPacket->nVerdict == NF_ACCEPT && pPacket->nDataLen < pPacket->nPacketLen);
    return 0;
}

namespace {

bool SetUpPolicy() {
    static char s_Patterns[2][PATTERN_BYTES] = {"*excluded", "a.example/"};
    static tagAddrRange s_Range = {0xCB007100, htonl(0xFFFFFF00)};
    g_ExclusionPatterns = {2, s_Patterns};
    g_TrustedURLPatterns = {1, s_Patterns + 1};
    g_ExcludedRanges = {1, &s_Range};
    g_bFirstFTPAddrMatch = 0;
    g_bCustomBlockList = g_bPhishingProtection = g_bURLScannerLoaded = 1;
    g_pfnScanURLForAPSH = [](const char* szURL) { return std::strstr(szURL, "phish") ? 1 : 0; };
    for (const char* szText : {".b.example", "b.example/p", "198.51.100.20"}) {
        tagListEntryBuf entry{};
        std::strcpy(entry.szSource, szText);
        AddListEntry(entry);
    }
    return true;
}

void SignFirstPacket(nlmsghdr* pMessage, size_t nSize) {
    // Not mnl_nlmsg_ok, which takes a length beyond 2 GiB for a negative one.
    if (nSize < sizeof *pMessage || pMessage->nlmsg_len < sizeof *pMessage || pMessage->nlmsg_len > nSize)
        return;
    if (pMessage->nlmsg_seq % 2 == 0) return;
    tagQueueAttrTable table;
    ParseQueueMessage(pMessage, table);
    const nlattr* pPayload = table[NFQA_PAYLOAD];
    if (!pPayload) return;
    auto* pPacket = static_cast<uint8_t*>(mnl_attr_get_payload(pPayload));
    SignPacket({pPacket, mnl_attr_get_payload_len(pPayload)});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    if (nSize == 0 || nSize > PACKET_SLOT_BYTES) return 0;
    [[maybe_unused]] static const bool s_bReady = SetUpPolicy();
    const std::unique_ptr<uint8_t[]> message(new uint8_t[nSize]);  // aligned for a netlink header
    std::memcpy(message.get(), pData, nSize);
    SignFirstPacket(reinterpret_cast<nlmsghdr*>(message.get()), nSize);

    tagPacketInfo info{};
    g_nResets = 0;
    (void)RunQueueMessages(message.get(), nSize, 4711, OnQueuePacket, &info);
    Require((info.pPacket && info.nVerdict == NF_DROP) == (g_nResets == 1));

    uint32_t nId = 0;
    (void)RunQueueMessages(message.get(), nSize, 4711, GetQueuedPacketId, &nId);

    // Whole requests and pieces of them; what earlier inputs left of a connection may decide.
    (void)ReadKernelAnswer(message.get(), nSize);
    info = {};
    g_bLiveTraffic = 1;
    (void)RunQueueMessages(message.get(), nSize, 4711, OnQueuePacket, &info);
    g_bLiveTraffic = 0;
    return 0;
}
