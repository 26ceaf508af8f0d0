#include "tests/e2e/queue_reader.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <linux/netfilter.h>
#include <linux/netfilter/nfnetlink.h>
#include <linux/netfilter/nfnetlink_queue.h>
#include <poll.h>

#include "intercept/queue_messages.h"

namespace {
void Send(mnl_socket* pSocket, const nlmsghdr* pMessage) {
    EXPECT_GE(mnl_socket_sendto(pSocket, pMessage, pMessage->nlmsg_len), 0);
}

int ReadAttribute(const nlattr* pAttribute, void* pPacket) {
    auto& packet = *static_cast<tagQueued*>(pPacket);
    const auto* pPayload = static_cast<const uint8_t*>(mnl_attr_get_payload(pAttribute));
    switch (mnl_attr_get_type(pAttribute)) {
        case NFQA_PACKET_HDR:
            packet.nPacketId = ntohl(reinterpret_cast<const nfqnl_msg_packet_hdr*>(pPayload)->packet_id);
            break;
        case NFQA_MARK:
            packet.nMark = ntohl(mnl_attr_get_u32(pAttribute));
            break;
        case NFQA_PAYLOAD: {
            const uint8_t* pTcp = pPayload + (pPayload[0] & 0xF) * 4;
            const uint8_t* pData = pTcp + (pTcp[12] >> 4) * 4;
            packet.bPush = (pTcp[13] & 0x08) != 0;
            packet.data.assign(pData, pPayload + mnl_attr_get_payload_len(pAttribute));
            break;
        }
        default:
            break;
    }
    return MNL_CB_OK;
}
}  // namespace

QueueReader::QueueReader() : m_pSocket(mnl_socket_open2(NETLINK_NETFILTER, SOCK_CLOEXEC)) {
    EXPECT_EQ(mnl_socket_bind(m_pSocket, 0, MNL_SOCKET_AUTOPID), 0);
    tagQueueMsgBuffer message{};
    Send(m_pSocket, BuildCfgCmdMsg(message, NFQNL_CFG_CMD_BIND, 0));
    message = {};
    Send(m_pSocket, BuildCfgParamsMsg(message, NFQNL_COPY_PACKET, 2000, 0));
}

QueueReader::~QueueReader() {
    mnl_socket_close(m_pSocket);
}

std::optional<tagQueued> QueueReader::Next(int nMilliseconds) {
    pollfd waited{mnl_socket_get_fd(m_pSocket), POLLIN, 0};
    if (poll(&waited, 1, nMilliseconds) != 1) return std::nullopt;
    alignas(nlmsghdr) char received[8192];
    if (mnl_socket_recvfrom(m_pSocket, received, sizeof received) <= 0) return std::nullopt;
    tagQueued packet{};
    EXPECT_EQ(mnl_attr_parse(reinterpret_cast<nlmsghdr*>(received), sizeof(nfgenmsg), ReadAttribute, &packet),
              MNL_CB_OK);
    return packet;
}

void QueueReader::Answer(const tagQueued& packet, uint32_t nVerdict, std::optional<uint32_t> mark) {
    tagQueueMsgBuffer message{};
    nlmsghdr* pMessage = BuildVerdictMsg(message, packet.nPacketId, 0, nVerdict);
    if (mark) mnl_attr_put_u32(pMessage, NFQA_MARK, htonl(*mark));
    Send(m_pSocket, pMessage);
}
