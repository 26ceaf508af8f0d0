#include "intercept/queue_attributes.h"

#include <arpa/inet.h>
#include <linux/netfilter/nfnetlink.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace {
struct tagDeliveryNotes {
    const uint8_t* pEnd;  // of the message
    uint32_t nTrueLen;    // of a packet that was cut; otherwise 0
    tagPacketInfo* pPacket;
};

size_t WholeMessageBytes(const uint8_t* pDatagram, size_t nBytes);
int TakeNote(const nlattr* pAttr, void* pNotes);
}  // namespace

int RunQueueMessages(const void* pDatagram, size_t nBytes, uint32_t nPortId, mnl_cb_t pfnOnMessage,
                     void* pData) {
    const size_t nWhole = WholeMessageBytes(static_cast<const uint8_t*>(pDatagram), nBytes);
    return mnl_cb_run(pDatagram, nWhole, 0, nPortId, pfnOnMessage, pData);
}

int ParseQueueAttr(const nlattr* pAttr, void* pTable) {
    auto& table = *static_cast<tagQueueAttrTable*>(pTable);
    const uint16_t nType = mnl_attr_get_type(pAttr);
    if (mnl_attr_type_valid(pAttr, NFQA_PAYLOAD) < 0) return MNL_CB_OK;

    int nValid = 0;
    switch (nType) {
        case NFQA_MARK:
        case NFQA_IFINDEX_INDEV:
        case NFQA_IFINDEX_OUTDEV:
        case NFQA_IFINDEX_PHYSINDEV:
        case NFQA_IFINDEX_PHYSOUTDEV:
            nValid = mnl_attr_validate(pAttr, MNL_TYPE_U32);
            break;
        case NFQA_TIMESTAMP:
            nValid = mnl_attr_validate2(pAttr, MNL_TYPE_UNSPEC, sizeof(nfqnl_msg_packet_timestamp));
            break;
        case NFQA_HWADDR:
            nValid = mnl_attr_validate2(pAttr, MNL_TYPE_UNSPEC, sizeof(nfqnl_msg_packet_hw));
            break;
        default:
            break;
    }
    if (nValid < 0) return MNL_CB_ERROR;
    table[nType] = pAttr;
    return MNL_CB_OK;
}

void ParseQueueMessage(const nlmsghdr* pMessage, tagQueueAttrTable& table) {
    table.fill(nullptr);
    (void)mnl_attr_parse(pMessage, sizeof(nfgenmsg), ParseQueueAttr, &table);
    // libmnl measures the last attribute, and its header, against a message padded to a multiple of four.
    const auto* pEnd = reinterpret_cast<const uint8_t*>(pMessage) + pMessage->nlmsg_len;
    for (const nlattr*& pAttr : table) {
        if (!pAttr) continue;
        const ptrdiff_t nBytes = pEnd - reinterpret_cast<const uint8_t*>(pAttr);
        if (nBytes < static_cast<ptrdiff_t>(sizeof *pAttr) || nBytes < pAttr->nla_len) pAttr = nullptr;
    }
}

uint32_t QueuedPacketId(const tagQueueAttrTable& table) {
    const nlattr* pAttr = table[NFQA_PACKET_HDR];
    uint32_t nId = 0;
    static_assert(offsetof(nfqnl_msg_packet_hdr, packet_id) == 0);
    if (!pAttr || mnl_attr_get_payload_len(pAttr) < sizeof nId) return 0;
    std::memcpy(&nId, mnl_attr_get_payload(pAttr), sizeof nId);
    return ntohl(nId);
}

void ReadDeliveryNotes(const nlmsghdr* pMessage, tagPacketInfo& packet) {
    const auto* pStart = reinterpret_cast<const uint8_t*>(pMessage);
    tagDeliveryNotes notes{pStart + pMessage->nlmsg_len, 0, &packet};
    (void)mnl_attr_parse(pMessage, sizeof(nfgenmsg), TakeNote, &notes);
    packet.bCut = notes.nTrueLen > packet.nPacketLen;
}

std::optional<tagKernelAnswer> ReadKernelAnswer(const void* pDatagram, size_t nBytes) {
    struct {
        nlmsghdr header;
        int nError;
    } answer;
    if (nBytes < sizeof answer) return std::nullopt;
    std::memcpy(&answer, pDatagram, sizeof answer);
    if (answer.header.nlmsg_type != NLMSG_ERROR) return std::nullopt;
    return tagKernelAnswer{answer.nError, answer.header.nlmsg_seq};
}

int GetQueuedPacketId(const nlmsghdr* pMessage, void* pId) {
    tagQueueAttrTable table;
    ParseQueueMessage(pMessage, table);
    *static_cast<uint32_t*>(pId) = QueuedPacketId(table);
    return MNL_CB_OK;
}

namespace {
size_t WholeMessageBytes(const uint8_t* pDatagram, size_t nBytes) {
    size_t nWhole = 0;
    while (nBytes - nWhole >= sizeof(nlmsghdr)) {
        uint32_t nLength = 0;
        static_assert(offsetof(nlmsghdr, nlmsg_len) == 0);
        std::memcpy(&nLength, pDatagram + nWhole, sizeof nLength);
        if (nLength < sizeof(nlmsghdr) || nLength > nBytes - nWhole) break;
        nWhole += std::min<size_t>(NLMSG_ALIGN(nLength), nBytes - nWhole);
    }
    return nWhole;
}

// All of them are numbers of 32 bits.
int TakeNote(const nlattr* pAttr, void* pNotes) {
    auto& notes = *static_cast<tagDeliveryNotes*>(pNotes);
    uint32_t nNumber = 0;
    const auto* pPayload = static_cast<const uint8_t*>(mnl_attr_get_payload(pAttr));
    if (notes.pEnd - pPayload < static_cast<ptrdiff_t>(sizeof nNumber)) return MNL_CB_OK;
    if (mnl_attr_get_payload_len(pAttr) != sizeof nNumber) return MNL_CB_OK;
    std::memcpy(&nNumber, pPayload, sizeof nNumber);
    nNumber = ntohl(nNumber);
    switch (mnl_attr_get_type(pAttr)) {
        case NFQA_MARK:
            notes.pPacket->nMark = nNumber;
            break;
        case NFQA_CAP_LEN:
            notes.nTrueLen = nNumber;
            break;
        case NFQA_SKB_INFO:
            notes.pPacket->bNoTCPChecksum = (nNumber & NFQA_SKB_CSUMNOTREADY) != 0;
            break;
        case NFQA_UID:
            notes.pPacket->bHasUid = 1;
            notes.pPacket->nUid = nNumber;
            break;
        default:
            break;
    }
    return MNL_CB_OK;
}
}  // namespace
