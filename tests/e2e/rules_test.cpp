// The firewall rules, with both kinds of iptables.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>

#include <string>

#include "tests/e2e/daemon.h"
#include "tests/e2e/lab.h"
#include "tests/e2e/web_client.h"

using testing::HasSubstr;

namespace {
constexpr char FOREIGN[] = "-d 203.0.113.9/32 -j ACCEPT";
constexpr char HTTP_RULE[] =
    "-p tcp --tcp-flags ALL PSH,ACK -m u32 --u32 "
    "\"0x4&0x1FFF=0x0&&0x0>>0x16&0x3C@0xC>>0x1A&0x3C@0x0=0x47455420,0x434F4E4E,0x52455452,0x43574420\" "
    "-j NFQUEUE --queue-num 0";

void ChangeChain(const std::string& kind, const std::string& change) {
    MustRun("iptables-" + kind + " -t mangle " + change);
}

}  // namespace

class Rules : public LabTest, public testing::WithParamInterface<const char*> {
  protected:
    void SetUp() override {
        LabTest::SetUp();
        UseIptables(GetParam());
    }
    std::string Kind() const { return GetParam(); }
};
INSTANTIATE_TEST_SUITE_P(, Rules, testing::Values("nft", "legacy"),
                         [](const auto& kind) { return std::string(kind.param); });

// Three rules above what was there, each once however the start found the chain.
TEST_P(Rules, InsertedOnceAndRemovedAgain) {
    ChangeChain(Kind(), std::string("-A POSTROUTING ") + FOREIGN);
    ChangeChain(Kind(), std::string("-A POSTROUTING ") + HTTP_RULE);  // left by a daemon that crashed
    tagDaemon daemon = StartDaemon();
    const std::string calls = IptablesCalls();
    EXPECT_EQ(CountText(calls, "-I POSTROUTING -t mangle -p tcp"), 2u) << calls;
    EXPECT_EQ(CountText(calls, "-n -L POSTROUTING -t mangle"), 6u) << calls;  // start, first pass
    EXPECT_EQ(StopDaemon(daemon), 0);
    EXPECT_EQ(QueueRules(), 0u);
    EXPECT_THAT(ChainRules(), HasSubstr(FOREIGN));
    EXPECT_EQ(CountText(IptablesCalls(), "-D POSTROUTING -t mangle -p tcp"), 3u) << IptablesCalls();
}

TEST_P(Rules, FallbackWhereU32IsRefused) {
    UseIptables(GetParam(), "case \"$*\" in *-I*u32*) exit 2 ;; esac");
    MustRun("websecctl block add blocked.example");
    (void)StartDaemon();
    EXPECT_EQ(CountText(ChainRules(), "-m string"), 3u) << ChainRules();
    EXPECT_TRUE(Get("blocked.example").bReset);
    EXPECT_EQ(Get("allowed.example").nStatus, 200);
}

// Where a crashed daemon's rules are is what it noted, not what websec.cfg says by then.
TEST_P(Rules, LeftRulesAreFoundWhateverTheConfigurationSaysNow) {
    WriteFile(ProductFile("websec.cfg"),
              "[IPTABLEConfigurations]\nqueueNum=3\nUseDefinedPorts=1\nHTTPPorts=80,8080\n");
    tagDaemon daemon = StartDaemon();
    WriteFile(ProductFile("websec.cfg"),
              "[IPTABLEConfigurations]\niptableTable=filter\niptableChain=OUTPUT\n");
    EXPECT_THAT(Shell("websecctl status").output,
                HasSubstr("until then its rules are in mangle POSTROUTING"));
    kill(daemon.pid, SIGKILL);
    (void)AwaitEnd(daemon);
    EXPECT_THAT(Shell("websecctl status").output, HasSubstr("has left 3 rules in mangle POSTROUTING"));
    EXPECT_EQ(QueueRules(), 3u);
    EXPECT_THAT(Shell("websecctl rules remove").output, HasSubstr("removed 3 rules"));
    EXPECT_EQ(QueueRules(), 0u) << ChainRules();
    EXPECT_THAT(Shell("websecctl rules remove").output, HasSubstr("there were none"));
}

// Neither what it noted nor what websec.cfg says may keep them: iptables takes names for ports, a shell more.
TEST_P(Rules, LeftRulesGoWhateverThePortListsAre) {
    constexpr char KEYS[] = "[IPTABLEConfigurations]\nUseDefinedPorts=1\nHTTPPorts=";
    constexpr char LIVE[] = "\n[ServiceConfigurations]\nLiveTraffic=1\n";
    for (const char* szPorts : {"80,http", "$(echo 80)"}) {
        SCOPED_TRACE(szPorts);
        WriteFile(ProductFile("websec.cfg"), std::string(KEYS) + szPorts + LIVE);
        tagDaemon daemon = StartDaemon();
        kill(daemon.pid, SIGKILL);
        (void)AwaitEnd(daemon);
        MustRun("websecctl rules remove");
        EXPECT_EQ(CountText(Shell("iptables-" + Kind() + "-save -t mangle").output, "-A "), 0u);
        EXPECT_EQ(Shell("websecctl rules remove").nStatus, 0) << "without a note, by websec.cfg";
    }
}

class RulesWatchdog : public LabTest {};

// Its period is 60 seconds.
TEST_F(RulesWatchdog, PutsBackWhatIsMissing) {
    UseIptables("nft");
    (void)StartDaemon();
    ChangeChain("nft", std::string("-D POSTROUTING ") + HTTP_RULE);
    ASSERT_EQ(QueueRules(), 2u);
    EXPECT_TRUE(Within(65000, [] { return CountText(IptablesCalls(), "-I POSTROUTING") == 4; }));
    EXPECT_TRUE(Within(1000, [] { return QueueRules() == 3; }));
}
