#include "intercept/queue_channel.h"

#include <fcntl.h>
#include <linux/netfilter/nfnetlink_queue.h>
#include <linux/netlink.h>
#include <sys/socket.h>

#include "intercept/queue_messages.h"

namespace {
constexpr int RECEIVE_BUFFER_BYTES = 4194304;
constexpr uint32_t COPY_RANGE = 65535;

bool Send(const tagQueueReceiver& receiver, const nlmsghdr* pMessage) {
    return mnl_socket_sendto(receiver.pSocket, pMessage, pMessage->nlmsg_len) >= 0;
}

bool Configure(const tagQueueReceiver& receiver) {
    tagQueueMsgBuffer buffer;
    return Send(receiver, BuildCfgPfCmdMsg(buffer, NFQNL_CFG_CMD_PF_UNBIND)) &&
           Send(receiver, BuildCfgPfCmdMsg(buffer, NFQNL_CFG_CMD_PF_BIND)) &&
           Send(receiver, BuildCfgCmdMsg(buffer, NFQNL_CFG_CMD_BIND, receiver.nQueueNum)) &&
           Send(receiver, BuildCfgParamsMsg(buffer, NFQNL_COPY_PACKET, COPY_RANGE, receiver.nQueueNum));
}
}  // namespace

int OpenQueueChannel(tagQueueReceiver& receiver) {
    receiver.pSocket = mnl_socket_open(NETLINK_NETFILTER);
    if (!receiver.pSocket) return CHANNEL_NO_SOCKET;
    const int fd = mnl_socket_get_fd(receiver.pSocket);
    // The shell that runs iptables must not inherit the queue: descriptor 2 may well be this socket.
    (void)fcntl(fd, F_SETFD, FD_CLOEXEC);
    if (mnl_socket_bind(receiver.pSocket, 0, MNL_SOCKET_AUTOPID) < 0) return CHANNEL_NO_BIND;
    (void)setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &RECEIVE_BUFFER_BYTES, sizeof RECEIVE_BUFFER_BYTES);
    receiver.nPortId = mnl_socket_get_portid(receiver.pSocket);
    return Configure(receiver) ? 0 : CHANNEL_NO_CONFIG;
}

void SendVerdict(const tagQueueReceiver& receiver, uint32_t nPacketId, uint32_t nVerdict) {
    if (nPacketId == 0) return;
    tagQueueMsgBuffer buffer;
    (void)Send(receiver, BuildVerdictMsg(buffer, nPacketId, receiver.nQueueNum, nVerdict));
}
