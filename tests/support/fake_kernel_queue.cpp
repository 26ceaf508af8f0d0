#include "tests/support/fake_kernel_queue.h"

#include <arpa/inet.h>
#include <libmnl/libmnl.h>
#include <linux/netfilter/nfnetlink.h>
#include <linux/netfilter/nfnetlink_queue.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

struct mnl_socket {
    int fd;
};

namespace {
constexpr unsigned int PORT_ID = 4711;
int s_kernelEnd = -1;
int s_nFailing = 0;
uint32_t s_nRefused = 0;
int s_nRefusal = 0;
std::vector<uint8_t> s_Sent;  // of the last datagram, what NextVerdict has not told yet

// What the kernel does before the send returns.
void AnswerRequest(const nlmsghdr* pRequest) {
    if (!(pRequest->nlmsg_flags & NLM_F_ACK)) return;
    const auto* pFlags = static_cast<const nlattr*>(mnl_nlmsg_get_payload_offset(pRequest, sizeof(nfgenmsg)));
    const bool bRefused = (ntohl(mnl_attr_get_u32(pFlags)) & s_nRefused) != 0;
    std::vector<uint8_t> answer = fake_kernel::ErrorMessage(bRefused ? s_nRefusal : 0);
    reinterpret_cast<nlmsghdr*>(answer.data())->nlmsg_seq = pRequest->nlmsg_seq;
    fake_kernel::Deliver(answer);
}
}  // namespace

// The daemon's side: what libmnl would do, over a socket pair.
extern "C" {
mnl_socket* mnl_socket_open(int) {
    int ends[2];
    if (s_nFailing == 12 || socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) != 0) return nullptr;
    s_kernelEnd = ends[1];
    return new mnl_socket{ends[0]};
}
int mnl_socket_bind(mnl_socket*, unsigned int, pid_t) {
    return s_nFailing == 13 ? -1 : 0;
}
int mnl_socket_get_fd(const mnl_socket* nl) {
    return nl->fd;
}
unsigned int mnl_socket_get_portid(const mnl_socket*) {
    return PORT_ID;
}
ssize_t mnl_socket_sendto(const mnl_socket* nl, const void* buf, size_t len) {
    if (s_nFailing == 14) return -1;
    AnswerRequest(static_cast<const nlmsghdr*>(buf));
    return send(nl->fd, buf, len, MSG_NOSIGNAL);
}
ssize_t mnl_socket_recvfrom(const mnl_socket* nl, void* buf, size_t len) {
    const ssize_t n = recv(nl->fd, buf, len, MSG_TRUNC);
    if (n <= static_cast<ssize_t>(len)) return n;
    errno = ENOSPC;
    return -1;
}
int mnl_socket_close(mnl_socket* nl) {
    close(nl->fd);
    delete nl;
    return 0;
}
}

namespace fake_kernel {

void Reset() {
    if (s_kernelEnd >= 0) close(s_kernelEnd);
    s_kernelEnd = -1;
    s_nFailing = 0;
    s_nRefused = 0;
    s_Sent.clear();
}

void FailOpening(int nResult) {
    s_nFailing = nResult;
}

void RefuseFlags(uint32_t nFlags, int nErrno) {
    s_nRefused = nFlags;
    s_nRefusal = nErrno;
}

void Deliver(std::span<const uint8_t> message) {
    (void)!send(s_kernelEnd, message.data(), message.size(), MSG_NOSIGNAL);
}

void CloseChannel() {
    shutdown(s_kernelEnd, SHUT_WR);
}

std::optional<std::vector<uint8_t>> NextSent(int nMilliseconds) {
    pollfd wait{s_kernelEnd, POLLIN, 0};
    if (poll(&wait, 1, nMilliseconds) != 1) return std::nullopt;
    std::vector<uint8_t> bytes(8192);
    const ssize_t n = recv(s_kernelEnd, bytes.data(), bytes.size(), 0);
    if (n <= 0) return std::nullopt;
    bytes.resize(static_cast<size_t>(n));
    return bytes;
}

std::optional<tagVerdict> NextVerdict(int nMilliseconds) {
    while (true) {
        if (s_Sent.empty()) {
            auto sent = NextSent(nMilliseconds);
            if (!sent) return std::nullopt;
            s_Sent = std::move(*sent);
        }
        // A datagram may hold several.
        nlmsghdr header;
        std::memcpy(&header, s_Sent.data(), sizeof header);
        const std::vector<uint8_t> message(s_Sent.begin(), s_Sent.begin() + header.nlmsg_len);
        s_Sent.erase(s_Sent.begin(), s_Sent.begin() + NLMSG_ALIGN(header.nlmsg_len));
        if (header.nlmsg_type != (NFNL_SUBSYS_QUEUE << 8 | NFQNL_MSG_VERDICT)) continue;
        nfqnl_msg_verdict_hdr verdict;
        std::memcpy(&verdict, message.data() + 24, sizeof verdict);
        uint32_t nMark = 0;
        if (message.size() >= 40) std::memcpy(&nMark, message.data() + 36, sizeof nMark);
        return tagVerdict{ntohl(verdict.id), ntohl(verdict.verdict), ntohl(nMark)};
    }
}

std::vector<uint8_t> QueueMessage(uint32_t nPacketId, std::span<const uint8_t> payload) {
    std::vector<uint8_t> bytes(payload.size() + 256);
    nlmsghdr* pMessage = mnl_nlmsg_put_header(bytes.data());
    pMessage->nlmsg_type = NFNL_SUBSYS_QUEUE << 8 | NFQNL_MSG_PACKET;
    mnl_nlmsg_put_extra_header(pMessage, sizeof(nfgenmsg));
    if (nPacketId != 0) {
        nfqnl_msg_packet_hdr header{};
        header.packet_id = htonl(nPacketId);
        mnl_attr_put(pMessage, NFQA_PACKET_HDR, sizeof header, &header);
    }
    if (!payload.empty()) mnl_attr_put(pMessage, NFQA_PAYLOAD, payload.size(), payload.data());
    bytes.resize(pMessage->nlmsg_len);
    return bytes;
}

std::vector<uint8_t> ErrorMessage(int nErrno) {
    std::vector<uint8_t> bytes(256);
    nlmsghdr* pMessage = mnl_nlmsg_put_header(bytes.data());
    pMessage->nlmsg_type = NLMSG_ERROR;
    auto* pError = static_cast<nlmsgerr*>(mnl_nlmsg_put_extra_header(pMessage, sizeof(nlmsgerr)));
    pError->error = -nErrno;
    bytes.resize(pMessage->nlmsg_len);
    return bytes;
}

}  // namespace fake_kernel
