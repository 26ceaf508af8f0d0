#include "tests/e2e/category_server.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "category/category_server_protocol.h"
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
