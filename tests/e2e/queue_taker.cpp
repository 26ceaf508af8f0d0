#include "tests/e2e/queue_taker.h"

#include <gtest/gtest.h>
#include <linux/netfilter.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/e2e/lab.h"
#include "tests/e2e/queue_reader.h"

namespace {
// In the child.
[[noreturn]] void AcceptEverything() {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    prctl(PR_SET_NAME, QueueTaker::NAME);
    QueueReader reader;
    for (;;) {
        if (const auto packet = reader.Next()) reader.Answer(*packet, NF_ACCEPT);
    }
}
}  // namespace

QueueTaker::QueueTaker() : m_pid(fork()) {
    if (m_pid == 0) AcceptEverything();
    EXPECT_TRUE(Within(2000, [] { return !ReadFile("/proc/net/netfilter/nfnetlink_queue").empty(); }));
}

QueueTaker::~QueueTaker() {
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
}
