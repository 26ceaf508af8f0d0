// LiveTraffic 1 under more than it can judge at once: what is to be blocked stays blocked, everything else
// goes through.
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <vector>

#include "common/traffic_counters.h"
#include "inspect/request_gathering.h"
#include "tests/e2e/daemon.h"
#include "tests/e2e/lab.h"
#include "tests/e2e/live_daemon.h"
#include "tests/e2e/web_client.h"
#include "tests/support/client_hello_composer.h"

namespace {
// The most that the process ever had in memory.
size_t ResidentKb(pid_t pid) {
    const std::string status = ReadFile("/proc/" + std::to_string(pid) + "/status");
    const size_t nLine = status.find("VmHWM:");
    return nLine == status.npos ? 0 : std::strtoul(status.c_str() + nLine + 6, nullptr, 10);
}
}  // namespace

class LiveLoad : public LiveDaemonTest {
  protected:
    void SetUp() override {
        constexpr rlim_t FILES = 20'000;
        const rlimit files{FILES, FILES};
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &files), 0);
        LiveDaemonTest::SetUp();
    }
};

TEST_F(LiveLoad, OfABurstEachRequestIsJudged) {
    constexpr struct {
        const char* szReason;
        size_t nRequests;
        bool bHeld;  // SIGSTOP while they come, and for two seconds
    } BURSTS[] = {
        {"twice the store", 1000, false},
        {"more than half of the kernel's queue", 5000, false},
        {"all of them wait when the daemon goes on", 5000, true},
    };
    const auto isBlocked = [](size_t i) { return i % 10 == 9; };
    for (const auto& [szReason, nRequests, bHeld] : BURSTS) {
        SCOPED_TRACE(szReason);
        std::vector<std::unique_ptr<WebClient>> clients(nRequests);
        for (auto& pClient : clients) {
            pClient = std::make_unique<WebClient>();
            ASSERT_TRUE(pClient->IsOpen());
        }
        if (bHeld) HoldDaemon(daemon);
        for (size_t i = 0; i < nRequests; ++i) {
            if (isBlocked(i))
                (void)clients[i]->Send("blocked.example", "/burst/blocked");
            else
                EXPECT_TRUE(clients[i]->Send("allowed.example", "/burst/allowed"));
        }
        if (bHeld) sleep(2);
        kill(daemon.pid, SIGCONT);

        size_t nServed = 0, nReset = 0, nBlockedServed = 0, nAllowedLost = 0;
        for (size_t i = 0; i < nRequests; ++i) {
            const tagReply reply = clients[i]->Answer();
            nServed += reply.nStatus == 200;
            nReset += reply.bReset;
            nBlockedServed += isBlocked(i) && !reply.bReset;
            nAllowedLost += !isBlocked(i) && reply.nStatus != 200;
            clients[i]->Drop();
        }
        EXPECT_EQ(nBlockedServed, 0u);
        EXPECT_EQ(nAllowedLost, 0u);
        EXPECT_EQ(nServed + nReset, nRequests);
    }
    EXPECT_EQ(ServersSaw("/burst/blocked"), 0u);
    EXPECT_EQ(Count(COUNT_UNJUDGED_STORE_FULL) + Count(COUNT_KERNEL_OVERRUN), 0u);
    EXPECT_EQ(Count(COUNT_STORE_DEPTH), 0u);
}

// 20,000 connections, each of which begins a long hello and leaves. Split hellos of honest clients come
// between: half of each before, half after a hundred of those.
TEST_F(LiveLoad, AFloodOfHellosThatNeverComplete) {
    constexpr size_t CONNECTIONS = 20'000, ROUND = 1000, BETWEEN = 100;
    const std::string begun =
        ComposeClientHello({.extensions = Extension(51, std::string(16'000, 'k'))}).substr(0, 3500);
    const auto connectAndLeave = [&](size_t nTimes) {
        for (size_t i = 0; i < nTimes; ++i) {
            WebClient client(SERVER, 443);
            ASSERT_TRUE(client.SendBytes(begun));
            client.Drop();
        }
    };
    const size_t nBeforeKb = ResidentKb(daemon.pid);
    for (size_t i = 0; i < CONNECTIONS; i += ROUND) {
        SCOPED_TRACE(i);
        WebClient allowed(SERVER, 443), blocked(SERVER, 443);
        const std::string allowedHello = LargeClientHelloFor("allowed.example");
        const std::string blockedHello = LargeClientHelloFor("blocked.example");
        ASSERT_TRUE(allowed.SendBytes(allowedHello.substr(0, 700)));
        ASSERT_TRUE(blocked.SendBytes(blockedHello.substr(0, 700)));
        connectAndLeave(BETWEEN);
        ASSERT_TRUE(allowed.SendBytes(allowedHello.substr(700)));
        ASSERT_TRUE(blocked.SendBytes(blockedHello.substr(700)));
        EXPECT_NE(allowed.FirstByte().nStatus, 0);
        EXPECT_TRUE(blocked.FirstByte().bReset);
        connectAndLeave(ROUND - BETWEEN);
    }
    EXPECT_TRUE(Within(2000, [] {
        return Count(COUNT_UNJUDGED_INCOMPLETE) >= CONNECTIONS - GATHERED_STREAMS;
    })) << Count(COUNT_UNJUDGED_INCOMPLETE);
    EXPECT_LE(Count(COUNT_UNJUDGED_INCOMPLETE), CONNECTIONS);
    EXPECT_LE(ResidentKb(daemon.pid), nBeforeKb + 6144)
        << "3 MiB of pieces, a store that was in use from end to end";
}
