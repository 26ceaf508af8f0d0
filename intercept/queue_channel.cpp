#include "intercept/queue_channel.h"

#include <fcntl.h>
#include <linux/netfilter.h>
#include <linux/netfilter/nfnetlink_queue.h>
#include <linux/netlink.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

#include "common/traffic_counters.h"
#include "intercept/live_rules.h"
#include "intercept/packet_store.h"
#include "intercept/queue_attributes.h"
#include "intercept/queue_messages.h"
#include "intercept/stream_marks.h"
#include "service/service_config.h"

namespace {
constexpr int RECEIVE_BUFFER_BYTES = 4194304;
constexpr uint32_t COPY_RANGE = 65535;

// With LiveTraffic 1: room for a burst that comes while the daemon rests, over twenty thousand small packets;
// the kernel takes the number twofold. Its queue is longer than what the buffer can ever hold, since a packet
// that finds the queue full passes without a report, and one that finds the buffer full does not.
constexpr int LIVE_RECEIVE_BUFFER_BYTES = 4 * RECEIVE_BUFFER_BYTES;
constexpr uint32_t LIVE_QUEUE_LENGTH = 65535;
// Headers and attributes around a packet come to 163 bytes at most; newer kernels may add a few.
constexpr uint32_t MESSAGE_FRAME_BYTES = 256;
constexpr uint32_t LIVE_COPY_RANGE = PACKET_SLOT_BYTES - MESSAGE_FRAME_BYTES;
constexpr uint32_t LIVE_FLAGS[] = {NFQA_CFG_F_GSO, NFQA_CFG_F_FAIL_OPEN, NFQA_CFG_F_UID_GID};
constexpr uint32_t ALL_LIVE_FLAGS = NFQA_CFG_F_GSO | NFQA_CFG_F_FAIL_OPEN | NFQA_CFG_F_UID_GID;
constexpr int ANSWER_TIMEOUT_MS = 1000;

bool Send(const tagQueueReceiver& receiver, const nlmsghdr* pMessage);
void EnlargeReceiveBuffer(int fd);
bool Configure(const tagQueueReceiver& receiver);
bool ConfigureLive(const tagQueueReceiver& receiver);
int RequestFlags(const tagQueueReceiver& receiver, uint32_t nFlags);
uint32_t StreamMarkOf(const tagPacketInfo& packet);
}  // namespace

int OpenQueueChannel(tagQueueReceiver& receiver) {
    receiver.pSocket = mnl_socket_open(NETLINK_NETFILTER);
    if (!receiver.pSocket) return CHANNEL_NO_SOCKET;
    const int fd = mnl_socket_get_fd(receiver.pSocket);
    // The shell that runs iptables must not inherit the queue: descriptor 2 may well be this socket.
    (void)fcntl(fd, F_SETFD, FD_CLOEXEC);
    if (mnl_socket_bind(receiver.pSocket, 0, MNL_SOCKET_AUTOPID) < 0) return CHANNEL_NO_BIND;
    EnlargeReceiveBuffer(fd);
    receiver.nPortId = mnl_socket_get_portid(receiver.pSocket);
    return Configure(receiver) ? 0 : CHANNEL_NO_CONFIG;
}

size_t ReceiveBufferBytes() {
    return g_bLiveTraffic == 1 ? PACKET_SLOT_BYTES
                               : std::min<size_t>(MNL_SOCKET_BUFFER_SIZE, PACKET_SLOT_BYTES);
}

bool IsChannelLost(int nError) {
    return nError == -EPERM || nError == -EBUSY || nError == -ENODEV;
}

void SendVerdict(const tagQueueReceiver& receiver, uint32_t nPacketId, uint32_t nVerdict) {
    if (nPacketId == 0) return;
    CountTraffic(nVerdict == NF_DROP ? COUNT_DROPPED : COUNT_ACCEPTED);
    tagQueueMsgBuffer buffer;
    (void)Send(receiver, BuildVerdictMsg(buffer, nPacketId, receiver.nQueueNum, nVerdict));
}

void SendVerdict(const tagQueueReceiver& receiver, const tagPacketInfo& packet) {
    tagQueueMsgBuffer buffer;
    if (const nlmsghdr* pMessage = MakeVerdict(buffer, receiver, packet)) (void)Send(receiver, pMessage);
}

const nlmsghdr* MakeVerdict(tagQueueMsgBuffer& buffer, const tagQueueReceiver& receiver,
                            const tagPacketInfo& packet) {
    if (packet.nPacketId == 0) return nullptr;
    CountTraffic(packet.nVerdict == NF_DROP ? COUNT_DROPPED : COUNT_ACCEPTED);
    const uint32_t nStreamMark = StreamMarkOf(packet);
    return nStreamMark == 0
               ? BuildVerdictMsg(buffer, packet.nPacketId, receiver.nQueueNum, packet.nVerdict)
               : BuildRepeatMsg(buffer, packet.nPacketId, receiver.nQueueNum, packet.nMark | nStreamMark);
}

ssize_t ReceiveMessage(const tagQueueReceiver& receiver, std::span<uint8_t> buffer, int nFlags) {
    const int fd = mnl_socket_get_fd(receiver.pSocket);
    const ssize_t nReceived = recv(fd, buffer.data(), buffer.size(), nFlags | MSG_TRUNC);
    if (nReceived <= static_cast<ssize_t>(buffer.size())) return nReceived;
    errno = ENOSPC;
    return -1;
}

namespace {
bool Send(const tagQueueReceiver& receiver, const nlmsghdr* pMessage) {
    return mnl_socket_sendto(receiver.pSocket, pMessage, pMessage->nlmsg_len) >= 0;
}

// Overruns stay reported (no NETLINK_NO_ENOBUFS): the kernel then keeps new messages back until the waiting
// ones are read, which takes the receiver a moment, but without the report nobody would know of them.
void EnlargeReceiveBuffer(int fd) {
    (void)setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &RECEIVE_BUFFER_BYTES, sizeof RECEIVE_BUFFER_BYTES);
    if (g_bLiveTraffic != 1) return;
    (void)setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &LIVE_RECEIVE_BUFFER_BYTES,
                     sizeof LIVE_RECEIVE_BUFFER_BYTES);
}

// Packets come from the last message on, so that every one of them is delivered in the same way.
bool Configure(const tagQueueReceiver& receiver) {
    const bool bLive = g_bLiveTraffic == 1;
    tagQueueMsgBuffer buffer;
    return Send(receiver, BuildCfgPfCmdMsg(buffer, NFQNL_CFG_CMD_PF_UNBIND)) &&
           Send(receiver, BuildCfgPfCmdMsg(buffer, NFQNL_CFG_CMD_PF_BIND)) &&
           Send(receiver, BuildCfgCmdMsg(buffer, NFQNL_CFG_CMD_BIND, receiver.nQueueNum)) &&
           (!bLive || ConfigureLive(receiver)) &&
           Send(receiver, BuildCfgParamsMsg(buffer, NFQNL_COPY_PACKET, bLive ? LIVE_COPY_RANGE : COPY_RANGE,
                                            receiver.nQueueNum));
}

// False when the queue is not ours.
bool ConfigureLive(const tagQueueReceiver& receiver) {
    uint32_t nInForce = ALL_LIVE_FLAGS;
    const int nAll = RequestFlags(receiver, ALL_LIVE_FLAGS);
    if (IsChannelLost(nAll)) return false;
    if (nAll != 0) {
        nInForce = 0;
        for (const uint32_t nFlag : LIVE_FLAGS)
            if (RequestFlags(receiver, nFlag) == 0) nInForce |= nFlag;
    }
    SetTraffic(COUNT_CHANNEL_FLAGS, nInForce);
    tagQueueMsgBuffer buffer;
    return Send(receiver, BuildCfgQueueLenMsg(buffer, LIVE_QUEUE_LENGTH, receiver.nQueueNum));
}

// The kernel's answer, 0 or a negative error number. Of the requests before, which ask for none, only an
// error comes first; one that loses the channel is handed on.
int RequestFlags(const tagQueueReceiver& receiver, uint32_t nFlags) {
    tagQueueMsgBuffer buffer;
    if (!Send(receiver, BuildCfgFlagsMsg(buffer, nFlags, receiver.nQueueNum, nFlags))) return -EIO;
    pollfd wait{mnl_socket_get_fd(receiver.pSocket), POLLIN, 0};
    while (poll(&wait, 1, ANSWER_TIMEOUT_MS) == 1) {
        alignas(nlmsghdr) uint8_t bytes[256];
        const ssize_t nReceived = mnl_socket_recvfrom(receiver.pSocket, bytes, sizeof bytes);
        if (nReceived <= 0) return -EIO;
        const auto answer = ReadKernelAnswer(bytes, static_cast<size_t>(nReceived));
        if (answer && (answer->nSequence == nFlags || IsChannelLost(answer->nError))) return answer->nError;
    }
    return -ETIMEDOUT;
}

uint32_t StreamMarkOf(const tagPacketInfo& packet) {
    if (packet.nPacketId == 0 || packet.nVerdict != NF_ACCEPT) return 0;
    // Others use these bits; or it has met the rules again already and nobody took the mark off.
    if ((packet.nMark & STREAM_MARK_BITS) != 0 || !AreConnectionsWatched()) return 0;
    if (packet.nStreamMark == STREAM_RELEASE) return STREAM_MARK_RELEASE;
    return packet.nStreamMark == STREAM_WATCH ? STREAM_MARK_WATCH : 0;
}
}  // namespace
