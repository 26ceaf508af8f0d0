#include "tests/e2e/web_client.h"

#include <netinet/tcp.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <string_view>

#include "tests/support/sockets.h"

namespace {
// Reads one answer with a Content-Length. Its status; 0 when the connection ended first.
int ReadAnswer(int fd) {
    std::string answer;
    char block[4096];
    for (;;) {
        const size_t nHead = answer.find("\r\n\r\n");
        if (nHead != answer.npos) {
            const size_t nField = answer.find("Content-Length: ");
            const size_t nBody = nField < nHead ? std::strtoul(answer.c_str() + nField + 16, nullptr, 10) : 0;
            if (answer.size() >= nHead + 4 + nBody) return std::atoi(answer.c_str() + answer.find(' ') + 1);
        }
        const ssize_t nRead = recv(fd, block, sizeof block, 0);
        if (nRead <= 0) {
            if (nRead == 0) errno = 0;
            return 0;
        }
        answer.append(block, static_cast<size_t>(nRead));
    }
}

int ReadByte(int fd) {
    uint8_t byte = 0;
    const ssize_t nRead = recv(fd, &byte, 1, 0);
    if (nRead == 0) errno = 0;
    return nRead == 1 ? byte : 0;
}
}  // namespace

WebClient::WebClient(const std::string& address, in_port_t nPort) {
    m_fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval timeout{REPLY_TIMEOUT_MS / 1000, 0};
    setsockopt(m_fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    const int nOn = 1;
    setsockopt(m_fd, IPPROTO_TCP, TCP_NODELAY, &nOn, sizeof nOn);
    if (ConnectTo(m_fd, address.c_str(), nPort) == 0) return;
    close(m_fd);
    m_fd = -1;
}

WebClient::~WebClient() {
    if (m_fd >= 0) close(m_fd);
}

bool WebClient::Send(const std::string& host, const std::string& path, size_t nPadding) {
    std::string request = "GET " + path + " HTTP/1.1\r\nHost: " + host + "\r\n";
    if (nPadding != 0) request += "Cookie: a=" + std::string(nPadding, 'x') + "\r\n";
    request += "\r\n";
    return SendBytes(request);
}

bool WebClient::SendBytes(const std::string& bytes) {
    return send(m_fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

tagReply WebClient::Get(const std::string& host, const std::string& path, size_t nPadding) {
    if (!IsOpen()) return {};
    if (Send(host, path, nPadding)) return Answer();
    // The reset may come while the rest is still being sent.
    tagReply reply;
    reply.bReset = errno == ECONNRESET || errno == EPIPE;
    return reply;
}

tagReply WebClient::Answer() {
    return Await(ReadAnswer);
}

tagReply WebClient::FirstByte() {
    return Await(ReadByte);
}

void WebClient::Drop() {
    const linger atOnce{1, 0};
    setsockopt(m_fd, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    close(m_fd);
    m_fd = -1;
}

tagReply WebClient::Await(int (*read)(int fd)) {
    tagReply reply;
    const auto start = std::chrono::steady_clock::now();
    reply.nStatus = read(m_fd);
    reply.bReset = reply.nStatus == 0 && errno == ECONNRESET;
    reply.nMilliseconds = static_cast<int>(
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start)
            .count());
    return reply;
}

tagReply Get(const std::string& host, const std::string& path, const std::string& address, in_port_t nPort) {
    return WebClient(address, nPort).Get(host, path);
}
