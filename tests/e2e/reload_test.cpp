// Reload and refresh while requests flow, and workers that come back.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "tests/e2e/background.h"
#include "tests/e2e/daemon.h"
#include "tests/e2e/lab.h"
#include "tests/e2e/web_client.h"

namespace {
// Packets that the kernel has queued and nobody has answered.
bool IsNothingWaiting() {
    return Shell("awk '$1 == 0 {print $3}' /proc/net/netfilter/nfnetlink_queue").output == "0\n";
}
}  // namespace

class Reload : public LabTest {};

TEST_F(Reload, UnderLoad) {
    constexpr auto DURATION = std::chrono::seconds(15);
    tagDaemon daemon = StartDaemon();
    const pid_t pid = daemon.pid;
    const size_t nDescriptors = DescriptorCount(pid);
    std::atomic<int> nAnswered = 0, nFailed = 0;
    Background clients(8, 38, [&] {
        return [&, pClient = std::make_shared<WebClient>()] {
            ++(pClient->Get("allowed.example", "/load").nStatus == 200 ? nAnswered : nFailed);
        };
    });
    {
        Background signals(1, 100, [pid] {
            return [pid, nSent = 0]() mutable { kill(pid, ++nSent % 2 == 0 ? SIGHUP : SIGUSR2); };
        });
        const auto end = std::chrono::steady_clock::now() + DURATION;
        for (int nRound = 0; std::chrono::steady_clock::now() < end; ++nRound) {
            MustRun("websecctl block add toggled.example");
            EXPECT_TRUE(Get("toggled.example", "/load/listed").bReset) << nRound;
            MustRun("websecctl block remove toggled.example");
            EXPECT_EQ(Get("toggled.example", "/load/free").nStatus, 200) << nRound;
        }
    }
    EXPECT_EQ(nFailed, 0);
    EXPECT_GT(nAnswered, 300);
    EXPECT_EQ(ServersSaw("/load/listed"), 0u);
    EXPECT_TRUE(Within(1000, IsNothingWaiting));
    EXPECT_EQ(ThreadCount(pid), ALL_THREADS + 2);  // and the two report writers
    EXPECT_TRUE(Within(5000, [&] { return DescriptorCount(pid) == nDescriptors; })) << DescriptorCount(pid);

    EXPECT_EQ(StopDaemon(daemon, 10'000), 0);  // in the middle of it
    EXPECT_EQ(QueueRules(), 0u);
}

// The kernel forgets a packet whose device goes; the verdict for it comes back as an error, which costs the
// worker that finds it. Here all four. The next signal brings them back.
TEST_F(Reload, BringsEndedWorkersBack) {
    constexpr int WORKERS = 4;
    MustRun("websecctl block add blocked.example");
    for (const int nSignal : {SIGHUP, SIGUSR2}) {
        SCOPED_TRACE(nSignal);
        MustRun(
            "ip link add gone0 type veth peer name gone1 netns server && ip address add 198.51.100.1/24 dev "
            "gone0 && "
            "ip link set gone0 up && ip -n server address add 198.51.100.2/24 dev gone1 && "
            "ip -n server link set gone1 up");
        tagDaemon daemon = StartDaemon();
        {
            WebClient clients[WORKERS] = {WebClient("198.51.100.2"), WebClient("198.51.100.2"),
                                          WebClient("198.51.100.2"), WebClient("198.51.100.2")};
            HoldDaemon(daemon);
            for (WebClient& client : clients)
                EXPECT_TRUE(client.Send("allowed.example"));
            MustRun("ip link del gone0");
            kill(daemon.pid, SIGCONT);
            EXPECT_TRUE(Within(3000, [&] { return ThreadCount(daemon.pid) == ALL_THREADS - WORKERS; }))
                << ThreadCount(daemon.pid);
            // What an ended socket still had to send would be sent again over the next round's device, and go
            // with it: more errors than workers, the rest of them for those that come back.
            for (WebClient& client : clients)
                client.Drop();
        }
        kill(daemon.pid, nSignal);
        EXPECT_TRUE(Within(3000, [&] { return ThreadCount(daemon.pid) == ALL_THREADS; }))
            << ThreadCount(daemon.pid);
        EXPECT_EQ(Get("allowed.example").nStatus, 200);
        EXPECT_TRUE(Get("blocked.example").bReset);
        EXPECT_EQ(StopDaemon(daemon), 0);
    }
}

// The daemon's handler returns in any case, so the tool has to find out by itself.
TEST_F(Reload, IsNotSaidToBeDoneWithoutSettings) {
    MustRun("websecctl block add blocked.example");
    tagDaemon daemon = StartDaemon();
    MustRun("websecctl reload");
    WriteFile("/var/lib/websec/websec.db", std::string(5000, 'x'));
    const tagOutcome damaged = Shell("websecctl reload");
    EXPECT_EQ(damaged.nStatus, 1);
    EXPECT_NE(damaged.output.find("the file is damaged"), std::string::npos) << damaged.output;
    EXPECT_TRUE(Get("blocked.example").bReset) << "the settings in force stay";
    EXPECT_EQ(StopDaemon(daemon), 0);

    MustRun("rm -f /var/lib/websec/websec.db* && websecctl block add blocked.example");
    const std::string module = ProductFile("libdbmod.so");
    MustRun("mv " + module + " " + module + ".away");
    daemon = StartDaemon();
    MustRun("mv " + module + ".away " + module);
    for (const char* szCommand : {"websecctl reload", "websecctl block add other.example"}) {
        const tagOutcome without = Shell(szCommand);
        EXPECT_EQ(without.nStatus, 1);
        EXPECT_NE(without.output.find("has not loaded " + module), std::string::npos) << without.output;
    }
}
