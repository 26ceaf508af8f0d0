// LiveTraffic 1 against the real kernel: what used to end the service, or to cost requests, no longer does.
#include <arpa/inet.h>
#include <linux/netfilter/nfnetlink_queue.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>
#include <vector>

#include "common/traffic_counters.h"
#include "tests/e2e/daemon.h"
#include "tests/e2e/lab.h"
#include "tests/e2e/live_daemon.h"
#include "tests/e2e/web_client.h"
#include "tests/support/sockets.h"

namespace {
// A connection of this process from a port that another one uses, too.
int ConnectFrom(in_port_t nPort, const char* szServer) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(BindTo(fd, "0.0.0.0", nPort), 0);
    EXPECT_EQ(ConnectTo(fd, szServer, 80), 0);
    return fd;
}
// A blocked request by a user without rights, from a port that this process uses, too.
void AskAsNobody(in_port_t nPort) {
    const pid_t child = fork();
    if (child == 0) {
        if (setuid(65534) != 0) _exit(1);
        const int fd = ConnectFrom(nPort, SERVER);
        const std::string request = "GET /user HTTP/1.1\r\nHost: blocked.example\r\n\r\n";
        char answer;
        _exit(send(fd, request.data(), request.size(), 0) > 0 && recv(fd, &answer, 1, 0) < 0 ? 0 : 1);
    }
    int nWait = 0;
    waitpid(child, &nWait, 0);
    EXPECT_EQ(nWait, 0);
}
}  // namespace

class LiveChannel : public LiveDaemonTest {};

// The kernel drops what waits for a device that goes down; the verdicts then find nothing.
TEST_F(LiveChannel, TheDeviceGoesDownWithPacketsWaiting) {
    EXPECT_EQ(Count(COUNT_CHANNEL_FLAGS), NFQA_CFG_F_GSO | NFQA_CFG_F_FAIL_OPEN | NFQA_CFG_F_UID_GID);
    std::vector<std::unique_ptr<WebClient>> clients(20);
    for (auto& pClient : clients)
        pClient = std::make_unique<WebClient>();
    HoldDaemon(daemon);
    for (const auto& pClient : clients)
        EXPECT_TRUE(pClient->Send("allowed.example", "/down"));
    MustRun("ip link set client0 down");
    kill(daemon.pid, SIGCONT);
    EXPECT_TRUE(Within(2000, [] { return Count(COUNT_VERDICT_LATE) >= 20; }));
    EXPECT_EQ(ThreadCount(daemon.pid), ALL_THREADS);
    MustRun("ip link set client0 up");
    for (const auto& pClient : clients)
        EXPECT_EQ(pClient->Answer().nStatus, 200) << "sent again";
}

// The kernel lets pass what it has no room for, and says so. Datagrams are quickly made.
TEST_F(LiveChannel, WhatThePacketBufferCannotHoldIsReported) {
    MustRun("iptables -t mangle -I OUTPUT -p udp --dport 9 -j NFQUEUE --queue-num 0");
    HoldDaemon(daemon);
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int nRoom = 256 << 20;
    EXPECT_EQ(setsockopt(fd, SOL_SOCKET, SO_SNDBUFFORCE, &nRoom, sizeof nRoom), 0);
    EXPECT_EQ(ConnectTo(fd, "127.0.0.1", 9), 0);
    for (int i = 0; i < 60'000; ++i)
        (void)send(fd, "x", 1, MSG_DONTWAIT);
    close(fd);
    kill(daemon.pid, SIGCONT);
    EXPECT_TRUE(Within(2000, [] { return Count(COUNT_KERNEL_OVERRUN) > 0; }));
}

// A second daemon finds the queue taken and leaves without touching the rules of the first.
TEST_F(LiveChannel, ASecondDaemonLeavesAtOnce) {
    tagDaemon second = LaunchDaemon();
    EXPECT_EQ(AwaitEnd(second), 255);
    EXPECT_EQ(QueueRules(), 3u);
    EXPECT_TRUE(WebClient().Get("blocked.example").bReset);
}

TEST_F(LiveChannel, OfTwoConnectionsWithTheSamePortsTheRightUserIsReported) {
    for (in_port_t nPort = 20001; nPort <= 20004; ++nPort) {
        const int fd = ConnectFrom(nPort, "192.0.2.3");
        AskAsNobody(nPort);
        close(fd);
    }
    const auto areAllNobodys = [] {
        const std::string report = Shell("websecctl report").output;
        return CountText(report, "nobody") == 1 && CountText(report, "(4 times)") == 1;
    };
    EXPECT_TRUE(Within(2000, areAllNobodys)) << Shell("websecctl report").output;
}
