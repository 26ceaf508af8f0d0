// The daemon under a memory checker from start to end: valgrind, or LeakSanitizer in a build that has it.
#include <gtest/gtest.h>
#include <signal.h>

#include <string>

#include "tests/e2e/daemon.h"
#include "tests/e2e/lab.h"
#include "tests/e2e/web_client.h"

namespace {
constexpr int SLOW_MS = 30000;

// Any error, and any block that was not given back at the exit, makes the exit status 99. A sanitizer has its
// own.
std::string Checker() {
#ifdef WEBSEC_SANITIZED
    return "";
#else
    return "valgrind -q --leak-check=full --show-leak-kinds=all --errors-for-leak-kinds=all "
           "--error-exitcode=99 --suppressions=" VALGRIND_SUPPRESSIONS " --log-file=" +
           LabFile("valgrind.%p");
#endif
}

std::string Findings() {
    return Shell("cat " + LabFile("valgrind.*")).output;
}
}  // namespace

class Memory : public LabTest {
  protected:
    void SetUp() override {
        LabTest::SetUp();
        if (!Checker().empty() && Shell("command -v valgrind").nStatus != 0) {
            ASSERT_STRNE(std::getenv("WEBSEC_REQUIRE_E2E"), "1") << "needs valgrind";
            GTEST_SKIP() << "needs valgrind";
        }
        MustRun("websecctl block add blocked.example sub.domain.example/secret");
        MustRun("websecctl block add --subdomains domain.example");
        MustRun("echo 'excluded.example' | websecctl datafile build exclusion " + ProductFile("pcintwl.dat"));
        MustRun("echo '203.0.113.0/24' | websecctl datafile build ranges " + ProductFile("wsintip.dat"));
        MustRun("echo '80' | websecctl datafile build ports " + ProductFile("wswebflt.dat"));
        WriteFile(ProductFile("websec.cfg"), "[IPTABLEConfigurations]\nUseDefinedPorts=1\n");
        m_daemon = LaunchDaemon(Checker());
        // The checker has a signal mask of its own, so that says nothing here.
        ASSERT_TRUE(Within(SLOW_MS,
                           [this] { return QueueRules() == 3 && ThreadCount(m_daemon.pid) == ALL_THREADS; }));
    }
    void MakeTraffic() {
        EXPECT_EQ(Get("allowed.example").nStatus, 200);
        EXPECT_EQ(Get("excluded.example").nStatus, 200);
        for (const char* szHost : {"blocked.example", "x.domain.example"})
            EXPECT_TRUE(Within(SLOW_MS, [&] { return Get(szHost).bReset; })) << szHost;
        EXPECT_EQ(Shell("curl -sk -m 9 -o /dev/null https://blocked.example/").nStatus, 35);
        EXPECT_EQ(Shell("curl -sk -m 9 -o /dev/null https://allowed.example/").nStatus, 0);
    }
    tagDaemon m_daemon;
};

TEST_F(Memory, NothingLostAtAStop) {
    MakeTraffic();
    (void)Shell("websecctl block add later.example");  // the checker's name hides the daemon from it
    kill(m_daemon.pid, SIGHUP);
    EXPECT_TRUE(Within(SLOW_MS, [] { return Get("later.example").bReset; }));
    kill(m_daemon.pid, SIGUSR2);
    MakeTraffic();
    EXPECT_EQ(StopDaemon(m_daemon, SLOW_MS), 0) << Findings();
}

TEST_F(Memory, NothingLostWhenTheReceiverEnds) {
    MakeTraffic();
    WebClient client("127.0.0.1");
    ASSERT_TRUE(client.Send("long.example", "/", 8000));
    EXPECT_EQ(AwaitEnd(m_daemon, SLOW_MS), 0) << Findings();
}
