// How the service starts and ends, seen on the real process: exit statuses, missing rights, a queue that is
// somebody else's, and every moment at which a stop may come.
#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "common/product_paths.h"
#include "tests/e2e/daemon.h"
#include "tests/e2e/lab.h"
#include "tests/e2e/queue_taker.h"
#include "tests/e2e/web_client.h"

using testing::HasSubstr;

namespace {
// Starts what follows as a user whose processes a limit counts. It has what it takes to read the queue, but
// not what it takes to pass the limit. Each call takes another user: the system is slow to forget ended
// processes.
std::string LimitProcesses(int nProcesses) {
    static int s_nUser = 54321;
    const std::string user = std::to_string(++s_nUser);
    return "env \"ASAN_OPTIONS=$ASAN_OPTIONS:detect_leaks=0\" prlimit --nproc=" + std::to_string(nProcesses) +
           ":100 setpriv --reuid " + user +
           " --inh-caps +net_admin,+net_raw --ambient-caps +net_admin,+net_raw";
}

std::string Status() {
    return Shell("websecctl status").output;
}
}  // namespace

class Startup : public LabTest {};

TEST_F(Startup, EachFailureHasItsExitStatus) {
    const struct {
        const char* szReason;
        const char *szBefore, *szAfter;  // commands around it
        std::string prefix;
        int nParent, nDaemon;
    } rows[] = {
        {"no iptables in any of its places", "mv /usr/sbin/iptables /run", "mv /run/iptables /usr/sbin", "",
         0, 255},
        {"cannot detach", "true", "true", LimitProcesses(1), 1, NOT_ENDED},
        {"no worker thread", "true", "true", LimitProcesses(2), 0, 255},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szReason);
        MustRun(row.szBefore);
        tagDaemon daemon = LaunchDaemon(row.prefix);
        EXPECT_EQ(daemon.nParentStatus, row.nParent);
        EXPECT_EQ(AwaitEnd(daemon), row.nDaemon);
        EXPECT_EQ(QueueRules(), 0u);
        MustRun(row.szAfter);
    }
    EXPECT_THAT(MustRun("websec --help"), testing::StartsWith("usage: websec\n"));
}

TEST_F(Startup, QueueOfAnotherProcess) {
    QueueTaker other;
    tagDaemon daemon = LaunchDaemon();
    // The two answers to its requests for the queue cost it two workers.
    EXPECT_TRUE(
        Within(5000, [&] { return QueueRules() == 3 && ThreadCount(daemon.pid) == ALL_THREADS - 2; }));
    EXPECT_EQ(Get("allowed.example").nStatus, 200);
    EXPECT_THAT(Status(),
                HasSubstr("queue 0 is owned by other-filter (pid " + std::to_string(other.Pid()) + ")"));
}

TEST_F(Startup, MissingRights) {
    tagDaemon daemon = LaunchDaemon("setpriv --inh-caps -net_admin --bounding-set -net_admin");
    // All four requests are refused.
    EXPECT_TRUE(Within(
        5000, [&] { return LetsSignalsIn(daemon.pid) && ThreadCount(daemon.pid) == ALL_THREADS - 4; }));
    EXPECT_EQ(Get("allowed.example").nStatus, 200);
    EXPECT_THAT(Status(), HasSubstr("websec lacks the right CAP_NET_ADMIN"));
}

// A message that does not fit the receiver's buffer ends it, and with it the service.
TEST_F(Startup, EndOfTheReceiverEndsTheService) {
    tagDaemon daemon = StartDaemon();
    WebClient client("127.0.0.1");
    ASSERT_TRUE(client.Send("long.example", "/", 8000));
    EXPECT_EQ(AwaitEnd(daemon), 0);
    EXPECT_EQ(QueueRules(), 0u);
    EXPECT_EQ(Get("long.example", "/", "127.0.0.1").nStatus, 200);
    EXPECT_THAT(Status(), HasSubstr("not running"));
}

// Not even a pipe, which would make whoever reads it wait; bench/fault_run.sh has the other faults of files.
TEST_F(Startup, NoFileHoldsTheDaemonUp) {
    const std::string folder =
        "cd " PRODUCT_DIR
        " && for f in libdbmod.so urlcheck.so websec.cfg kvinet.opt "
        "translation/en_US.utf8/LC_MESSAGES/lang.mo pcintwl.dat bpintwl.dat wsintip.dat "
        "wswebflt.dat wscatsts.dat; do ";
    MustRun(folder + "{ [ ! -e $f ] || mv $f $f.away; } && mkfifo $f; done");
    tagDaemon daemon = LaunchDaemon();
    EXPECT_TRUE(Within(5000, [&] { return LetsSignalsIn(daemon.pid); }));
    for (const int nSignal : {SIGHUP, SIGUSR2}) {
        kill(daemon.pid, nSignal);
        EXPECT_EQ(Get("allowed.example").nStatus, 200) << nSignal;
    }
    EXPECT_EQ(StopDaemon(daemon), 0);
    MustRun(folder + "rm $f; [ ! -e $f.away ] || mv $f.away $f; done");
}

// While the signals are still kept back, as they are let in (the watchdog is made then; on one processor it
// has not run yet when the stop comes), and while the watchdog starts and makes its first pass.
TEST_F(Startup, StopInTheFirstMilliseconds) {
    const struct {
        const char* szReason;
        std::string prefix;
        bool (*isReady)(pid_t pid);
        useconds_t nStep;  // each try waits so much longer than the one before
        int nTries;
    } rows[] = {
        {"kept back", "", HasHandlers, 5000, 6},
        {"just let in", "taskset -c 0", LetsSignalsIn, 0, 16},
        {"let in", "", LetsSignalsIn, 300, 16},
    };
    for (const auto& row : rows) {
        for (int nTry = 0; nTry < row.nTries; ++nTry) {
            SCOPED_TRACE(row.szReason + (", try " + std::to_string(nTry)));
            tagDaemon daemon = LaunchDaemon(row.prefix);
            ASSERT_NE(daemon.pid, 0);
            while (!row.isReady(daemon.pid)) {
            }
            usleep(row.nStep * static_cast<useconds_t>(nTry));
            ASSERT_EQ(StopDaemon(daemon), 0);
            ASSERT_EQ(QueueRules(), 0u);
        }
    }
}

// Reload and refresh keep coming from before the signals are let in until the process is gone.
TEST_F(Startup, OtherSignalsAroundStartAndStop) {
    for (int nTry = 0; nTry < 6; ++nTry) {
        SCOPED_TRACE(nTry);
        tagDaemon daemon = LaunchDaemon();
        while (!HasHandlers(daemon.pid)) {
        }
        const pid_t pid = daemon.pid;
        for (int nSent = 0; nSent < 200; ++nSent) {
            kill(pid, nSent % 2 == 0 ? SIGHUP : SIGUSR2);
            usleep(1000);
            if (nSent == 30 * nTry) kill(pid, SIGTERM);
        }
        EXPECT_EQ(AwaitEnd(daemon), 0);
        EXPECT_EQ(QueueRules(), 0u);
    }
}
