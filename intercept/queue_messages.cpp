#include "intercept/queue_messages.h"

#include <arpa/inet.h>
#include <linux/netfilter.h>
#include <linux/netfilter/nfnetlink.h>
#include <linux/netfilter/nfnetlink_queue.h>
#include <sys/socket.h>

namespace {
nlmsghdr* PutFrame(tagQueueMsgBuffer& buffer, uint8_t nKind, uint32_t nQueueNum) {
    buffer.bytes.fill(0);
    nlmsghdr* pMessage = mnl_nlmsg_put_header(buffer.bytes.data());
    pMessage->nlmsg_type = static_cast<uint16_t>(NFNL_SUBSYS_QUEUE << 8 | nKind);
    pMessage->nlmsg_flags = NLM_F_REQUEST;
    auto* pGeneric = static_cast<nfgenmsg*>(mnl_nlmsg_put_extra_header(pMessage, sizeof(nfgenmsg)));
    pGeneric->nfgen_family = AF_UNSPEC;
    pGeneric->version = NFNETLINK_V0;
    pGeneric->res_id = htons(static_cast<uint16_t>(nQueueNum));
    return pMessage;
}

nlmsghdr* PutCommand(tagQueueMsgBuffer& buffer, uint8_t nCommand, uint32_t nQueueNum) {
    nlmsghdr* pMessage = PutFrame(buffer, NFQNL_MSG_CONFIG, nQueueNum);
    nfqnl_msg_config_cmd command{};
    command.command = nCommand;
    command.pf = htons(AF_INET);
    mnl_attr_put(pMessage, NFQA_CFG_CMD, sizeof command, &command);
    return pMessage;
}
}  // namespace

nlmsghdr* BuildVerdictMsg(tagQueueMsgBuffer& buffer, uint32_t nPacketId, uint32_t nQueueNum,
                          uint32_t nVerdict) {
    nlmsghdr* pMessage = PutFrame(buffer, NFQNL_MSG_VERDICT, nQueueNum);
    const nfqnl_msg_verdict_hdr verdict{htonl(nVerdict), htonl(nPacketId)};
    mnl_attr_put(pMessage, NFQA_VERDICT_HDR, sizeof verdict, &verdict);
    return pMessage;
}

nlmsghdr* BuildRepeatMsg(tagQueueMsgBuffer& buffer, uint32_t nPacketId, uint32_t nQueueNum, uint32_t nMark) {
    nlmsghdr* pMessage = BuildVerdictMsg(buffer, nPacketId, nQueueNum, NF_REPEAT);
    mnl_attr_put_u32(pMessage, NFQA_MARK, htonl(nMark));
    return pMessage;
}

nlmsghdr* BuildCfgParamsMsg(tagQueueMsgBuffer& buffer, uint8_t nCopyMode, uint32_t nCopyRange,
                            uint32_t nQueueNum) {
    nlmsghdr* pMessage = PutFrame(buffer, NFQNL_MSG_CONFIG, nQueueNum);
    const nfqnl_msg_config_params params{htonl(nCopyRange), nCopyMode};
    static_assert(sizeof params == 5);
    mnl_attr_put(pMessage, NFQA_CFG_PARAMS, sizeof params, &params);
    return pMessage;
}

nlmsghdr* BuildCfgFlagsMsg(tagQueueMsgBuffer& buffer, uint32_t nFlags, uint32_t nQueueNum,
                           uint32_t nSequence) {
    nlmsghdr* pMessage = PutFrame(buffer, NFQNL_MSG_CONFIG, nQueueNum);
    pMessage->nlmsg_flags |= NLM_F_ACK;
    pMessage->nlmsg_seq = nSequence;
    mnl_attr_put_u32(pMessage, NFQA_CFG_FLAGS, htonl(nFlags));
    mnl_attr_put_u32(pMessage, NFQA_CFG_MASK, htonl(nFlags));
    return pMessage;
}

nlmsghdr* BuildCfgQueueLenMsg(tagQueueMsgBuffer& buffer, uint32_t nPackets, uint32_t nQueueNum) {
    nlmsghdr* pMessage = PutFrame(buffer, NFQNL_MSG_CONFIG, nQueueNum);
    mnl_attr_put_u32(pMessage, NFQA_CFG_QUEUE_MAXLEN, htonl(nPackets));
    return pMessage;
}

nlmsghdr* BuildCfgCmdMsg(tagQueueMsgBuffer& buffer, uint8_t nCommand, uint32_t nQueueNum) {
    return PutCommand(buffer, nCommand, nQueueNum);
}

nlmsghdr* BuildCfgPfCmdMsg(tagQueueMsgBuffer& buffer, uint8_t nCommand) {
    return PutCommand(buffer, nCommand, 0);
}
