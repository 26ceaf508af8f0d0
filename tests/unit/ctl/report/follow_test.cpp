// websecctl report --follow, over a pipe.
#include <gmock/gmock.h>
#include <poll.h>
#include <signal.h>

#include <ctime>

#include "tests/unit/ctl/blocked_requests.h"

namespace {

class ReportFollow : public ReportsTest {
  protected:
    ~ReportFollow() override {
        CloseReader();
        if (m_pid > 0) kill(m_pid, SIGKILL), waitpid(m_pid, nullptr, 0);
    }

    void Start(std::vector<std::string> arguments) {
        int fds[2];
        ASSERT_EQ(pipe2(fds, O_CLOEXEC), 0);
        arguments.insert(arguments.begin(), {"report", "--follow"});
        m_pid = WebsecctlTest::Start(std::move(arguments), "", fds[1]);
        close(fds[1]);
        m_reader = fds[0];
    }
    // The next line; what came of it when none is complete within the time.
    std::string ReadLine(int nWithinMs = 30000) {
        std::string line;
        pollfd input{m_reader, POLLIN, 0};
        char c;
        while (poll(&input, 1, nWithinMs) == 1 && read(m_reader, &c, 1) == 1 && c != '\n')
            line += c;
        return line;
    }
    void CloseReader() {
        if (m_reader != -1) close(m_reader);
        m_reader = -1;
    }
    // Its exit status, 128 and more for a signal; -1 when it goes on for half a minute.
    int AwaitEnd() {
        for (int n = 0; n < 3000; ++n) {
            int nStatus = 0;
            if (waitpid(m_pid, &nStatus, WNOHANG) == m_pid) {
                m_pid = 0;
                return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 128 + WTERMSIG(nStatus);
            }
            usleep(10000);
        }
        return -1;
    }

    pid_t m_pid = 0;
    int m_reader = -1;
};

TEST_F(ReportFollow, BeginsWithTheNewestAndGoesOn) {
    for (const char* szURL : {"a.example/1", "a.example/2", "a.example/3"})
        Block({"20-Nov-2025 10:00:00", "alice", szURL, 4});
    Start({"--limit", "2", "--user", "alice"});
    EXPECT_THAT(ReadLine(), testing::StartsWith("TIME"));
    EXPECT_THAT(ReadLine(), testing::EndsWith("a.example/2"));
    EXPECT_THAT(ReadLine(), testing::EndsWith("a.example/3"));
    Block({"20-Nov-2025 10:00:00", "bob", "a.example/4", 4});
    Block({"20-Nov-2025 10:00:00", "alice", "a.example/5", 4});
    EXPECT_THAT(ReadLine(), testing::EndsWith("a.example/5"));
}

TEST_F(ReportFollow, WaitsForTheOtherHalfOfARow) {
    Block({"20-Nov-2025 10:00:00", "alice", "a.example/0", 4});
    Start({"--json"});
    EXPECT_THAT(ReadLine(), testing::HasSubstr("a.example/0"));  // it has started
    char szNow[32];
    const time_t now = std::time(nullptr);
    const tm* pNow = std::localtime(&now);
    std::strftime(szNow, sizeof szNow, "%d-%b-%Y %H:%M:%S", pNow);
    Block({szNow, "alice", "a.example/1", 6});
    EXPECT_EQ(ReadLine(500), "");
    // The client record of the same block.
    ClientReportRecord client = ClientRecord("a.example/1");
    const int fields[] = {pNow->tm_year + 1900, pNow->tm_mon + 1, 0,           pNow->tm_mday,
                          pNow->tm_hour,        pNow->tm_min,     pNow->tm_sec};
    std::copy(std::begin(fields), std::end(fields), client.nLocalTime);
    StoreOne(REPORT_CLIENT, &client);
    EXPECT_THAT(ReadLine(), testing::HasSubstr("\"category\":\"Custom blocked\""));
    // One that stays alone comes in the end.
    Block({szNow, "alice", "a.example/2", 6});
    EXPECT_THAT(ReadLine(), testing::HasSubstr("a.example/2"));
}

TEST_F(ReportFollow, EndsInOrder) {
    (void)Run({"protection", "report", "off"});
    Block({"20-Nov-2025 10:00:00", "alice", "a.example/1", 4});
    for (const int nSignal : {SIGINT, SIGTERM}) {
        Start({});
        EXPECT_NE(ReadLine(), "");
        kill(m_pid, nSignal);
        EXPECT_EQ(AwaitEnd(), 0) << nSignal;
        EXPECT_THAT(ReadFile("stderr"), testing::HasSubstr("'report' is off, so no new rows come"));
        CloseReader();
    }
    Start({"--csv"});
    EXPECT_NE(ReadLine(), "");
    CloseReader();
    EXPECT_EQ(AwaitEnd(), 0) << "the reader has gone, and nothing is blocked any more";
}

TEST_F(ReportFollow, EndsAlthoughNobodyReadsOn) {
    ASSERT_EQ(BeginStoreChange(&m_store), STORE_OK);
    for (int n = 0; n < 2000; ++n)
        Block({"20-Nov-2025 10:00:00", "alice", "a.example/a-path-of-some-length-to-fill-the-pipe", 4});
    ASSERT_EQ(EndStoreChange(&m_store, 1), STORE_OK);
    Start({"--limit", "0"});
    EXPECT_NE(ReadLine(), "");
    usleep(200000);  // by now the pipe is full
    kill(m_pid, SIGTERM);
    EXPECT_EQ(AwaitEnd(), 0);
}

}  // namespace
