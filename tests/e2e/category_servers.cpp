#include "tests/e2e/category_servers.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string_view>

#include "category/category_server_protocol.h"
#include "category/category_table.h"
#include "tests/e2e/lab.h"

namespace {
sockaddr_in ServerAddress() {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(CATSERVER_PORT);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

bool IsServing() {
    const sockaddr_in address = ServerAddress();
    const int nSocket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool bServing = connect(nSocket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(nSocket);
    return bServing;
}

void SendReply(int nSocket, uint32_t nStatus, std::string_view text) {
    const CategoryReply head = {nStatus, text.size()};
    std::string reply(reinterpret_cast<const char*>(&head), sizeof head);
    reply += text;
    (void)send(nSocket, reply.data(), reply.size(), MSG_NOSIGNAL);
}
}  // namespace

Catserver::Catserver() : m_pid(fork()) {
    if (m_pid == 0) {
        execl("/usr/sbin/websec-catserver", "websec-catserver", nullptr);
        _exit(127);
    }
    EXPECT_TRUE(Within(5000, IsServing));
}

Catserver::~Catserver() {
    kill(m_pid, SIGTERM);
    int nStatus = -1;
    waitpid(m_pid, &nStatus, 0);
    EXPECT_EQ(nStatus, 0);
}

FeignedCatserver::FeignedCatserver() : m_nListen(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const sockaddr_in address = ServerAddress();
    const int nOn = 1;
    setsockopt(m_nListen, SOL_SOCKET, SO_REUSEADDR, &nOn, sizeof nOn);
    EXPECT_EQ(bind(m_nListen, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(m_nListen, 16), 0);
    m_thread = std::thread([this] { Serve(); });
}

FeignedCatserver::~FeignedCatserver() {
    shutdown(m_nListen, SHUT_RDWR);
    m_thread.join();
    close(m_nListen);
    for (const int nSocket : m_hanging)
        close(nSocket);
}

void FeignedCatserver::Serve() {
    for (int nSocket; (nSocket = accept(m_nListen, nullptr, nullptr)) >= 0;)
        Answer(nSocket);
}

void FeignedCatserver::Answer(int nSocket) {
    CategoryRequest request = {};
    (void)recv(nSocket, &request, sizeof request, MSG_WAITALL);
    const std::string_view url(request.szURL);
    const std::string games = std::to_string(FindCategory("Games"));
    if (url.ends_with("/hang")) {
        m_hanging.push_back(nSocket);
        ++m_nHanging;
        return;
    }
    if (url.ends_with("/refused")) {
        SendReply(nSocket, 1, games);
    } else if (url.ends_with("/long")) {
        SendReply(nSocket, CATSERVER_STATUS_OK, games + std::string(1'000'000, ','));
    } else {
        SendReply(nSocket, CATSERVER_STATUS_OK, games);
    }
    close(nSocket);
}
