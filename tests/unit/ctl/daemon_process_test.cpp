// Finding the daemon and waiting for its reload, with a process that looks like it in a network namespace of
// the test's own, so that a real daemon on this host is out of sight.
#include "ctl/daemon_process.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

namespace {

class DaemonProcess : public ::testing::Test {
  protected:
    void SetUp() override {
        if (unshare(CLONE_NEWNET) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) {
            GTEST_SKIP() << "this system refuses network namespaces";
        }
    }
    ~DaemonProcess() override {
        Stop();
        std::filesystem::remove(m_markFile);
    }

    void Start(const char* szWhat) {
        int fds[2];
        ASSERT_EQ(pipe(fds), 0);
        m_pid = fork();
        if (m_pid == 0) {
            dup2(fds[1], STDOUT_FILENO);
            execl(FAKE_DAEMON, "websec", szWhat, m_markFile.c_str(), nullptr);
            _exit(127);
        }
        close(fds[1]);
        char ready = 0;
        ASSERT_EQ(read(fds[0], &ready, 1), 1);
        close(fds[0]);
    }
    void Stop() {
        if (m_pid <= 0) return;
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
        m_pid = 0;
    }

    pid_t m_pid = 0;
    std::string m_markFile = "/tmp/websecctl-mark-" + std::to_string(getpid());
};

TEST_F(DaemonProcess, ReloadReturnsOnlyWhenTheHandlerIsThrough) {
    EXPECT_EQ(ReloadDaemon().outcome, ReloadOutcome::NotRunning);
    Start("work");
    const tagReloadResult result = ReloadDaemon();
    EXPECT_EQ(result.outcome, ReloadOutcome::Done);
    EXPECT_EQ(result.pid, m_pid);
    EXPECT_TRUE(std::filesystem::exists(m_markFile));
}

TEST_F(DaemonProcess, IsNotSignalledBeforeItHasAHandler) {
    Start("start");
    EXPECT_EQ(ReloadDaemon().outcome, ReloadOutcome::Starting);
    EXPECT_EQ(waitpid(m_pid, nullptr, WNOHANG), 0) << "it was ended";
}

TEST_F(DaemonProcess, ThatEndsInItsReloadIsToldOf) {
    Start("die");
    EXPECT_EQ(ReloadDaemon().outcome, ReloadOutcome::Ended);
}

TEST_F(DaemonProcess, InAnotherNetworkNamespaceIsNotThisOne) {
    Start("work");
    ASSERT_TRUE(FindDaemon());
    if (unshare(CLONE_NEWNET) != 0) GTEST_SKIP() << "this system refuses a second network namespace";
    EXPECT_FALSE(FindDaemon());
}

}  // namespace
