// The firewall rules, with both kinds of iptables: what the chain holds, and which commands a signal costs.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>

#include <string>

#include "tests/e2e/daemon.h"
#include "tests/e2e/lab.h"
#include "tests/e2e/web_client.h"

using testing::HasSubstr;
using testing::Not;

namespace {
constexpr char FOREIGN[] = "-d 203.0.113.9/32 -j ACCEPT";
constexpr char HTTP_RULE[] =
    "-p tcp --tcp-flags ALL PSH,ACK -m u32 --u32 "
    "\"0x4&0x1FFF=0x0&&0x0>>0x16&0x3C@0xC>>0x1A&0x3C@0x0=0x47455420,0x434F4E4E,0x52455452,0x43574420\" "
    "-j NFQUEUE --queue-num 0";

void ChangeChain(const std::string& kind, const std::string& change) {
    MustRun("iptables-" + kind + " -t mangle " + change);
}

// The internet options: their port, and whether it is in use.
void WriteInetOptions(unsigned nPort) {
    std::string record(788, '\0');
    record[0] = 1;
    record[264] = static_cast<char>(nPort & 0xFF);
    record[265] = static_cast<char>(nPort >> 8);
    WriteFile(ProductFile("kvinet.opt"), record);
}

void UsePortLists(bool bUse) {
    WriteFile(ProductFile("websec.cfg"), bUse ? "[IPTABLEConfigurations]\nUseDefinedPorts=1\n" : "");
}

// Sends the signal and waits until its handler has returned.
void Reload() {
    MustRun("websecctl reload");
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

TEST_P(Rules, FoundTwiceFlushesTheChain) {
    for (int nTimes = 0; nTimes < 2; ++nTimes)
        ChangeChain(Kind(), std::string("-A POSTROUTING ") + HTTP_RULE);
    ChangeChain(Kind(), std::string("-A POSTROUTING ") + FOREIGN);
    tagDaemon daemon = StartDaemon();  // its first pass repairs what the flush of the start took away
    EXPECT_EQ(CountText(IptablesCalls(), "-F POSTROUTING -t mangle"), 1u) << IptablesCalls();
    EXPECT_THAT(ChainRules(), Not(HasSubstr(FOREIGN)));

    // A stop that finds them twice flushes as well; the group before it is gone by then.
    ChangeChain(Kind(), std::string("-A POSTROUTING ") + HTTP_RULE);
    EXPECT_EQ(StopDaemon(daemon), 0);
    EXPECT_EQ(CountText(IptablesCalls(), "-F POSTROUTING -t mangle"), 2u) << IptablesCalls();
}

TEST_P(Rules, FallbackWhereU32IsRefused) {
    UseIptables(GetParam(), "case \"$*\" in *-I*u32*) exit 2 ;; esac");
    MustRun("websecctl block add blocked.example");
    tagDaemon daemon = StartDaemon();
    EXPECT_EQ(CountText(ChainRules(), "-m string"), 3u) << ChainRules();
    EXPECT_TRUE(Get("blocked.example").bReset);
    EXPECT_EQ(Get("allowed.example").nStatus, 200);
    EXPECT_EQ(StopDaemon(daemon), 0);
    EXPECT_EQ(QueueRules(), 0u);
}

TEST_P(Rules, PortLists) {
    UsePortLists(true);
    WriteInetOptions(3128);
    MustRun("echo 8080 | websecctl datafile build ports " + ProductFile("wswebflt.dat"));
    MustRun("websecctl block add blocked.example");
    tagDaemon daemon = StartDaemon();
    for (const char* szPorts : {"80,8080,3128", "443,8080,3128", "21,8080,3128"})
        EXPECT_THAT(IptablesCalls(),
                    HasSubstr(std::string("--match multiport --dports ") + szPorts + " --tcp-flags"));
    for (const in_port_t nPort : {80, 8080, 3128})
        EXPECT_TRUE(Get("blocked.example", "/", SERVER, nPort).bReset) << nPort;

    WriteInetOptions(3129);
    Reload();
    EXPECT_EQ(Get("blocked.example", "/", SERVER, 3128).nStatus, 200);
    EXPECT_TRUE(Get("blocked.example", "/", SERVER, 8080).bReset);
    EXPECT_EQ(StopDaemon(daemon), 0);
}

// Only a change of the internet options while port lists are in use and a protection is on rebuilds the
// rules.
TEST_P(Rules, CommandsOfAReload) {
    const struct {
        const char* szReason;
        bool bPortLists, bProtections, bChange;
        bool bRebuilt;
    } rows[] = {
        {"options changed", true, true, true, true},
        {"options unchanged", true, true, false, false},
        {"no port lists", false, true, true, false},
        {"no protection on", true, false, true, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szReason);
        UsePortLists(row.bPortLists);
        WriteInetOptions(8080);
        for (const char* szSwitch : {"browsing", "phishing"})
            MustRun(std::string("websecctl protection ") + szSwitch + (row.bProtections ? " on" : " off"));
        tagDaemon daemon = StartDaemon();
        ForgetIptablesCalls();
        if (row.bChange) WriteInetOptions(8081);
        Reload();
        EXPECT_EQ(CountText(IptablesCalls(), "-D POSTROUTING"), row.bRebuilt ? 3u : 0u) << IptablesCalls();
        EXPECT_EQ(CountText(IptablesCalls(), "-I POSTROUTING"), row.bRebuilt ? 3u : 0u);
        EXPECT_EQ(IptablesCalls().empty(), !row.bRebuilt);
        EXPECT_EQ(QueueRules(), 3u);
        EXPECT_EQ(StopDaemon(daemon), 0);
    }
}

// The reload rebuilds the rules for the queue that is served, not for one that nobody reads.
TEST_P(Rules, AReloadKeepsTheQueue) {
    UsePortLists(true);
    WriteInetOptions(8080);
    tagDaemon daemon = StartDaemon();
    WriteFile(ProductFile("websec.cfg"), "[IPTABLEConfigurations]\nUseDefinedPorts=1\nqueueNum=5\n");
    WriteInetOptions(8081);
    Reload();
    EXPECT_EQ(CountText(ChainRules(), "--queue-num 0"), 3u) << ChainRules();
    EXPECT_EQ(Get("allowed.example").nStatus, 200);
    EXPECT_THAT(Shell("websecctl status").output,
                HasSubstr("the queue 5 of websec.cfg holds from its next start"));
    EXPECT_EQ(StopDaemon(daemon), 0);
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
    MustRun("websecctl rules remove");
    EXPECT_EQ(QueueRules(), 0u) << ChainRules();
}

class RulesWatchdog : public LabTest {};

// Its period is 60 seconds.
TEST_F(RulesWatchdog, PutsBackWhatIsMissing) {
    UseIptables("nft");
    tagDaemon daemon = StartDaemon();
    ChangeChain("nft", std::string("-D POSTROUTING ") + HTTP_RULE);
    ASSERT_EQ(QueueRules(), 2u);
    EXPECT_TRUE(Within(65000, [] { return CountText(IptablesCalls(), "-I POSTROUTING") == 4; }));
    EXPECT_TRUE(Within(1000, [] { return QueueRules() == 3; }));
    EXPECT_EQ(StopDaemon(daemon), 0);
}
