#include "tests/e2e/queue_taker.h"

#include <arpa/inet.h>
#include <linux/netfilter.h>
#include <linux/netfilter/nfnetlink_queue.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "intercept/queue_messages.h"
#include "tests/e2e/lab.h"

namespace {
void Send(mnl_socket* pSocket, const nlmsghdr* pMessage) {
    (void)mnl_socket_sendto(pSocket, pMessage, pMessage->nlmsg_len);
}

// In the child. The packet id stands in the first attribute of each message.
[[noreturn]] void AcceptEverything() {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    prctl(PR_SET_NAME, QueueTaker::NAME);
    mnl_socket* pSocket = mnl_socket_open(NETLINK_NETFILTER);
    if (!pSocket || mnl_socket_bind(pSocket, 0, MNL_SOCKET_AUTOPID) < 0) _exit(1);
    tagQueueMsgBuffer message{};
    Send(pSocket, BuildCfgCmdMsg(message, NFQNL_CFG_CMD_BIND, 0));
    message = {};
    Send(pSocket, BuildCfgParamsMsg(message, NFQNL_COPY_PACKET, 64, 0));
    alignas(nlmsghdr) char received[8192];
    for (;;) {
        if (mnl_socket_recvfrom(pSocket, received, sizeof received) <= 0) _exit(1);
        const auto* pFirst = static_cast<const nlattr*>(
            mnl_nlmsg_get_payload_offset(reinterpret_cast<nlmsghdr*>(received), sizeof(nfgenmsg)));
        const auto* pHeader = static_cast<const nfqnl_msg_packet_hdr*>(mnl_attr_get_payload(pFirst));
        message = {};
        Send(pSocket, BuildVerdictMsg(message, ntohl(pHeader->packet_id), 0, NF_ACCEPT));
    }
}
}  // namespace

QueueTaker::QueueTaker() : m_pid(fork()) {
    if (m_pid == 0) AcceptEverything();
    EXPECT_TRUE(Within(2000, [] { return !ReadFile("/proc/net/netfilter/nfnetlink_queue").empty(); }));
}

QueueTaker::~QueueTaker() {
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
}
