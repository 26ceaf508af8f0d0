#include "tests/e2e/category_servers.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "category/category_server_protocol.h"
#include "category/category_table.h"
#include "tests/e2e/lab.h"
#include "tests/support/sockets.h"

namespace {
bool IsServing() {
    const int nSocket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool bServing = ConnectTo(nSocket, "127.0.0.1", CATSERVER_PORT) == 0;
    close(nSocket);
    return bServing;
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

FeignedCatserver::FeignedCatserver() : m_nListen(ListenOnLoopback(16, CATSERVER_PORT)) {
    EXPECT_GE(m_nListen, 0);
    m_thread = std::thread([this] { Serve(); });
}

FeignedCatserver::~FeignedCatserver() {
    shutdown(m_nListen, SHUT_RDWR);
    m_thread.join();
    close(m_nListen);
}

void FeignedCatserver::Serve() {
    const std::string games = std::to_string(FindCategory("Games"));
    const CategoryReply head = {CATSERVER_STATUS_OK, games.size()};
    const std::string reply = std::string(reinterpret_cast<const char*>(&head), sizeof head) + games;
    for (int nSocket; (nSocket = accept(m_nListen, nullptr, nullptr)) >= 0; close(nSocket)) {
        CategoryRequest request = {};
        (void)recv(nSocket, &request, sizeof request, MSG_WAITALL);
        (void)send(nSocket, reply.data(), reply.size(), MSG_NOSIGNAL);
    }
}
