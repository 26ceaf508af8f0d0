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
        std::filesystem::remove_all(m_markFile);
    }

    void Start(const char* szWhat, const std::string& program = FAKE_DAEMON) {
        int fds[2];
        ASSERT_EQ(pipe(fds), 0);
        m_pid = fork();
        if (m_pid == 0) {
            dup2(fds[1], STDOUT_FILENO);
            execl(program.c_str(), program.c_str(), szWhat, m_markFile.c_str(), nullptr);
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

TEST_F(DaemonProcess, ReloadAndRefreshReturnOnlyWhenTheHandlerIsThrough) {
    EXPECT_EQ(ReloadDaemon().outcome, ReloadOutcome::NotRunning);
    Start("work");
    for (const auto Tell : {ReloadDaemon, RefreshDaemon}) {
        const tagReloadResult result = Tell();
        // It has no module.
        EXPECT_EQ(result.outcome,
                  Tell == ReloadDaemon ? ReloadOutcome::WithoutSettings : ReloadOutcome::Done);
        EXPECT_EQ(result.pid, m_pid);
        EXPECT_TRUE(std::filesystem::remove(m_markFile)) << DescribeReload(result);
    }
}

TEST_F(DaemonProcess, ProgramIsFoundByANameThatTheKernelCuts) {
    const std::string program = m_markFile + "/websec-catserver";
    std::filesystem::create_directory(m_markFile);
    std::filesystem::copy_file(FAKE_DAEMON, program);
    Start("work", program);
    const auto found = FindProgram("websec-catserver");
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].pid, m_pid);
    EXPECT_FALSE(FindDaemon());
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
