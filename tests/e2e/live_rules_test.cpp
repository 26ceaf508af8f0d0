// The rules of LiveTraffic 1 and CloseBypasses 1 in the real kernel, with both kinds of iptables: which
// segments come to the queue, what the marks do, and that the chains come and go without a trace.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <linux/netfilter.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <string>

#include "intercept/iptables_rules.h"
#include "intercept/stream_marks.h"
#include "service/read_config.h"
#include "service/service_config.h"
#include "tests/e2e/daemon.h"
#include "tests/e2e/lab.h"
#include "tests/e2e/queue_reader.h"
#include "tests/support/sockets.h"

using testing::HasSubstr;
using testing::Not;

namespace {
constexpr uint32_t OTHERS_MARK = 0x00000005;
constexpr char BOTH_KEYS[] = "[ServiceConfigurations]\nLiveTraffic=1\nCloseBypasses=1\n";

bool CanRead(int fd, int nMilliseconds) {
    pollfd waited{fd, POLLIN, 0};
    return poll(&waited, 1, nMilliseconds) == 1;
}

// A connection over loopback whose two ends are here; the client's packets carry somebody else's mark.
class Stream {
  public:
    explicit Stream(in_port_t nPort, uint32_t nMark = OTHERS_MARK) {
        const int fdListen = ListenOnLoopback(1, nPort);
        m_fdClient = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(setsockopt(m_fdClient, SOL_SOCKET, SO_MARK, &nMark, sizeof nMark), 0);
        EXPECT_EQ(ConnectTo(m_fdClient, "127.0.0.1", nPort), 0);
        m_fdServer = accept4(fdListen, nullptr, nullptr, SOCK_CLOEXEC);
        close(fdListen);
    }
    ~Stream() {
        close(m_fdServer);
        close(m_fdClient);
    }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    // One segment. Without PSH it looks like the first of several.
    void Write(const std::string& data, bool bPush = true) {
        const int nFlags = bPush ? 0 : MSG_MORE;
        EXPECT_EQ(send(m_fdClient, data.data(), data.size(), nFlags), ssize_t(data.size()));
        const int bOn = 1;
        setsockopt(m_fdClient, IPPROTO_TCP, TCP_NODELAY, &bOn, sizeof bOn);  // sends what waits
    }
    // What the server gets by then. With it the acknowledgement and a reply go their ways.
    std::string Arrived() {
        char block[256];
        const ssize_t n = CanRead(m_fdServer, 1000) ? recv(m_fdServer, block, sizeof block, 0) : 0;
        EXPECT_EQ(send(m_fdServer, "HTTP/1.1 200 OK\r\n", 17, 0), 17);
        char reply[256];
        EXPECT_TRUE(CanRead(m_fdClient, 1000));
        EXPECT_GT(recv(m_fdClient, reply, sizeof reply, 0), 0);
        return std::string(block, n > 0 ? static_cast<size_t>(n) : 0);
    }

  private:
    int m_fdClient, m_fdServer;
};

// The rules of all tables, as programs of that kind write them, without counters.
std::string AllRules(const std::string& kind) {
    return Shell("for t in mangle filter; do iptables-" + kind + " -t $t -S; ip6tables-" + kind +
                 " -t $t -S; done")
        .output;
}

void Pass(uint32_t nMode = RULE_ADD) {
    ManageIptableRules(nMode);
}
}  // namespace

class KindOfRules : public LabTest, public testing::WithParamInterface<const char*> {
  protected:
    void SetUp() override {
        LabTest::SetUp();
        UseIptables(GetParam());
        UseConfig("");
        m_before = AllRules(GetParam());
    }
    void TearDown() override {
        (void)Shell(std::string("ip6tables-") + GetParam() + " -t filter -F; iptables-" + GetParam() +
                    " -t filter -F");
        g_bLiveTraffic = g_bCloseBypasses = 0;
        LabTest::TearDown();
    }
    static void UseConfig(const std::string& text) {
        WriteFile(ProductFile("websec.cfg"), text);
        ASSERT_EQ(ReadServiceConfig(), 0);
        ReadLiveTraffic();
    }
    static void Iptables(const std::string& change) {
        MustRun(std::string("iptables-") + GetParam() + " -t mangle " + change);
    }
    std::string m_before;
};
class LiveRules : public KindOfRules {
  protected:
    void SetUp() override {
        KindOfRules::SetUp();
        UseConfig("[ServiceConfigurations]\nLiveTraffic=1\n");
    }
};
class CloseRules : public KindOfRules {};

const auto KINDS = testing::Values("nft", "legacy");
const auto KIND_NAME = [](const auto& kind) { return std::string(kind.param); };
INSTANTIATE_TEST_SUITE_P(, LiveRules, KINDS, KIND_NAME);
INSTANTIATE_TEST_SUITE_P(, CloseRules, KINDS, KIND_NAME);

TEST_P(LiveRules, AStartBringsTheDataBehindItUntilTheRelease) {
    // Both count packets that lost somebody else's marks, or kept one of ours.
    Iptables("-A OUTPUT -p tcp --dport 9000 -j CONNMARK --set-xmark 0x10/0xff");
    Iptables("-A INPUT -p tcp --dport 9000 -m mark ! --mark 0x5 -j MARK --or-mark 0");
    Iptables("-A INPUT -p tcp --dport 9000 -m connmark ! --mark 0x10/0xfdffffff -j MARK --or-mark 0");
    Pass();
    QueueReader reader;
    for (const std::string start :
         {"GET / HTTP/1.1", "CONNECT a:443", "HEAD /", "POST /", "PUT /", "DELETE /", "OPTIONS *", "PATCH /",
          "CWD pub", "RETR file", "\x16\x03\x01\x02\x01\x01\x01\x01\xfc\x03\x03"}) {
        for (const bool bPush : {true, false}) {
            SCOPED_TRACE(start + (bPush ? " with PSH" : " without PSH"));
            Stream stream(9000);
            stream.Write("none of them");
            EXPECT_EQ(stream.Arrived(), "none of them");
            ASSERT_FALSE(reader.Next(0)) << "not watched yet";

            stream.Write(start, bPush);
            auto packet = reader.Next();
            ASSERT_TRUE(packet);
            EXPECT_EQ(packet->data, start);
            EXPECT_EQ(packet->bPush, bPush);
            reader.Answer(*packet, NF_ACCEPT);
            EXPECT_EQ(stream.Arrived(), start);
            ASSERT_FALSE(reader.Next(0)) << "an acknowledgement or a reply";

            for (const std::string next : {"more", "x"}) {  // without PSH four bytes show as data
                stream.Write(next, next.size() < 4 || bPush);
                packet = reader.Next();
                ASSERT_TRUE(packet) << next;
                EXPECT_EQ(packet->data, next);
                reader.Answer(*packet, NF_REPEAT, packet->nMark | STREAM_MARK_WATCH);
                EXPECT_EQ(stream.Arrived(), next) << "watched, and not queued once more";
            }
            stream.Write("body");
            packet = reader.Next();
            ASSERT_TRUE(packet);
            EXPECT_EQ(packet->nMark, OTHERS_MARK);
            reader.Answer(*packet, NF_REPEAT, packet->nMark | STREAM_MARK_RELEASE);
            EXPECT_EQ(stream.Arrived(), "body") << "not queued once more";

            stream.Write("the rest of it");
            EXPECT_EQ(stream.Arrived(), "the rest of it");
            ASSERT_FALSE(reader.Next(0)) << "released";
        }
    }
    Stream marked(9001, 0x6d6f6c65);  // somebody else's, with bits of ours
    for (const std::string part : {"GET / HT", "TP/1.1"}) {
        marked.Write(part);
        const auto packet = reader.Next();
        ASSERT_TRUE(packet) << part;
        EXPECT_EQ(packet->nMark, 0x6d6f6c65u);
        reader.Answer(*packet, NF_ACCEPT);
    }
    const std::string counted =
        Shell(std::string("iptables-") + GetParam() + " -t mangle -S INPUT -v").output;
    EXPECT_EQ(CountText(counted, " -c 0 0 "), 2u) << counted;
    Pass(RULE_REMOVE);
}

// Each repair gives back the very rules that stood there, and costs nobody else's.
TEST_P(LiveRules, APassRepairsWhatWasChanged) {
    Iptables("-A POSTROUTING -d 203.0.113.9/32 -j ACCEPT");
    Iptables("-A PREROUTING -d 203.0.113.9/32 -j ACCEPT");
    const std::string others = AllRules(GetParam());
    Pass();
    const std::string made = AllRules(GetParam());
    EXPECT_THAT(ChainRules(), HasSubstr("-P POSTROUTING ACCEPT\n-A POSTROUTING -p tcp -j WEBSEC_LIVE\n"));
    ForgetIptablesCalls();
    Pass();
    EXPECT_EQ(CountText(IptablesCalls(), "\n"), 4u) << "nothing to repair\n" << IptablesCalls();

    for (const char* szChange :
         {"-D POSTROUTING -p tcp -j WEBSEC_LIVE", "-A POSTROUTING -p tcp -j WEBSEC_LIVE", "-F WEBSEC_LIVE",
          "-I POSTROUTING -p udp --dport 53 -j WEBSEC_LIVE", "-D WEBSEC_LIVE_START 1",
          "-I WEBSEC_LIVE -d 192.0.2.9 -j ACCEPT", "-I OUTPUT -j WEBSEC_LIVE",
          "-D POSTROUTING 2"}) {  // a plain rule, which comes back at the top
        SCOPED_TRACE(szChange);
        Iptables(szChange);
        ASSERT_NE(AllRules(GetParam()), made);
        Pass();
        EXPECT_THAT(ChainRules(), HasSubstr("-P POSTROUTING ACCEPT\n-A POSTROUTING -p tcp -j WEBSEC_LIVE\n"));
        if (std::string(szChange) != "-D POSTROUTING 2") {
            EXPECT_EQ(AllRules(GetParam()), made);
        }
    }
    Pass(RULE_REMOVE);
    EXPECT_EQ(AllRules(GetParam()), others);
}

TEST_P(LiveRules, WithoutConnectionTrackingStartsAloneAreQueued) {
    const std::string real = std::string("/usr/sbin/iptables-") + GetParam() + "-restore";
    MustRun("rm /usr/sbin/iptables-restore");
    WriteFile("/usr/sbin/iptables-restore",
              "#!/bin/sh\nrules=$(cat)\ncase $rules in *conn*|*CONN*) exit 2 ;; esac\n"
              "printf '%s\\n' \"$rules\" | " +
                  real + " \"$@\"\n");
    MustRun("chmod 755 /usr/sbin/iptables-restore");
    Pass();
    QueueReader reader;
    Stream stream(9000);
    stream.Write("PATCH /", false);
    auto packet = reader.Next();
    ASSERT_TRUE(packet);
    reader.Answer(*packet, NF_ACCEPT);
    EXPECT_EQ(stream.Arrived(), "PATCH /");
    stream.Write("more");
    EXPECT_EQ(stream.Arrived(), "more");
    MustRun("ln -sf " + real + " /usr/sbin/iptables-restore");  // the kernel module is there now
    Pass();
    EXPECT_THAT(AllRules(GetParam()), HasSubstr("--ctdir ORIGINAL"));
    Pass(RULE_REMOVE);
    EXPECT_EQ(AllRules(GetParam()), m_before);
}

TEST_P(CloseRules, NothingIsLeftByAStopAndByACrash) {
    const auto countJumps = [] { return CountText(AllRules(GetParam()), "PUT -j WEBSEC_CLOSE"); };
    const auto crash = [](tagDaemon& daemon) {
        kill(daemon.pid, SIGKILL);
        EXPECT_EQ(AwaitEnd(daemon), 128 + SIGKILL);
    };
    WriteFile(ProductFile("websec.cfg"), BOTH_KEYS);
    tagDaemon crashed = StartDaemon();
    const std::string made = AllRules(GetParam());
    EXPECT_THAT(made, HasSubstr("-A POSTROUTING -p tcp -j WEBSEC_LIVE\n"));
    EXPECT_EQ(countJumps(), 2u);
    EXPECT_THAT(Shell("websecctl rules remove").output, HasSubstr("needs its rules"));
    crash(crashed);

    tagDaemon next = StartDaemon();
    EXPECT_EQ(AllRules(GetParam()), made) << "taken over";
    EXPECT_EQ(StopDaemon(next), 0);
    EXPECT_EQ(AllRules(GetParam()), m_before);

    for (const char* szKeys : {"", "[ServiceConfigurations]\nLiveTraffic=1\n"}) {
        SCOPED_TRACE(szKeys);
        WriteFile(ProductFile("websec.cfg"), BOTH_KEYS);
        crashed = StartDaemon();
        crash(crashed);
        WriteFile(ProductFile("websec.cfg"), szKeys);
        next = StartDaemon();
        EXPECT_EQ(countJumps(), 0u) << "the key is off now";
        EXPECT_EQ(StopDaemon(next), 0);
        EXPECT_EQ(AllRules(GetParam()), m_before);
    }

    WriteFile(ProductFile("websec.cfg"), BOTH_KEYS);
    crashed = StartDaemon();
    crash(crashed);
    WriteFile(ProductFile("websec.cfg"), "");
    Iptables("-A OUTPUT -d 203.0.113.9/32 -j WEBSEC_LIVE_START");  // keeps that chain from going
    MustRun("websecctl rules remove");
    EXPECT_THAT(AllRules(GetParam()), Not(HasSubstr("NFQUEUE")));
    Iptables("-F OUTPUT");
    MustRun("websecctl rules remove");
    EXPECT_EQ(AllRules(GetParam()), m_before);
}

// What the rules refuse is seen in scripts/demo; here, whether they stand where they may.
TEST_P(CloseRules, IPv6IsClosedWhereThereIsAWayOutOverIPv4) {
    const auto expect = [](const char* szReason, size_t nQuic, size_t nTcpOverIPv6) {
        SCOPED_TRACE(szReason);
        Pass();
        EXPECT_EQ(CountText(AllRules(GetParam()), "-p udp -m udp --dport 443 -j REJECT"), nQuic);
        EXPECT_EQ(CountText(AllRules(GetParam()), "--reject-with tcp-reset"), nTcpOverIPv6);
    };
    UseConfig("[ServiceConfigurations]\nCloseBypasses=1\n");
    MustRun("ip route flush 0/0");
    expect("no way out over IPv4", 2, 0);
    MustRun("ip route add default via 192.0.2.2");
    expect("both ways out", 2, 3);  // HTTP, TLS, FTP
    Pass(RULE_REMOVE);
    EXPECT_EQ(AllRules(GetParam()), m_before);
    MustRun("rm /usr/sbin/ip6tables");
    expect("IPv6 is left alone", 1, 0);
    Pass(RULE_REMOVE);
    MustRun("ip route del default");
    EXPECT_EQ(AllRules(GetParam()), m_before);
}
