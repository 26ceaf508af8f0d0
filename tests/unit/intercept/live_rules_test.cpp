#include "intercept/live_rules.h"

#include <gmock/gmock.h>

#include "intercept/iptables_rules.h"
#include "tests/support/rules_fixture.h"

namespace {
using recording_popen::AnswerWith;
using recording_popen::tagAnswer;
using recording_popen::TakeCommands;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

constexpr char LIST[] =
    "/sbin/iptables -w 5 -t mangle -S 2>/dev/null | grep -e 'WEBSEC_LIVE' -e '--queue-num'";
constexpr char RESTORE[] =
    "/sbin/iptables-restore -w 5 --noflush 2>/dev/null <<'RULES'\n"
    "*mangle\n";
constexpr char EMPTY_CHAINS[] =
    ":WEBSEC_LIVE - [0:0]\n:WEBSEC_LIVE_START - [0:0]\n:WEBSEC_LIVE_REPEAT - [0:0]\n";

class LiveRules : public RulesTest {
  protected:
    void SetUp() override {
        RulesTest::SetUp();
        m_listing.clear();
        m_refused = "nothing";
        AnswerWith([this](const std::string& command) {
            if (command.find("-restore") == command.npos) return tagAnswer{m_listing, 0};
            const bool bRefused = command.find(m_refused) != command.npos;
            if (!bRefused && command.find("-I ") != command.npos) m_listing = m_listingBehind;
            return tagAnswer{"", bRefused ? 2 : 0};
        });
    }
    std::string m_listing;  // what iptables shows now, and after chains were made
    std::string m_listingBehind = "-N WEBSEC_LIVE\n-A POSTROUTING -p tcp -j WEBSEC_LIVE\n";
    std::string m_refused;  // the kernel takes no rules with this text
};

// What a pass finds, and what it does about it; the lab has more that may be found.
TEST_F(LiveRules, APassDoesWhatTheListingAsksFor) {
    const struct {
        const char* szReason;
        std::string listing;
        const char* szDeleted;  // "none" when nothing is to be done
    } rows[] = {
        {"as it was made", m_listingBehind, "none"},
        {"everything is gone, or iptables cannot tell", "", ""},
        {"a changed jump, and one elsewhere",
         "-A OUTPUT -j WEBSEC_LIVE\n-A POSTROUTING -p udp -j WEBSEC_LIVE\n",
         "-D OUTPUT -j WEBSEC_LIVE\n-D POSTROUTING -p udp -j WEBSEC_LIVE\n"},
        {"no jumps of ours",
         "-A WEBSEC_LIVE -j WEBSEC_LIVE_START\n-A OUTPUT -g WEBSEC_LIVE\n-A OUTPUT -j MY_WEBSEC_LIVE\n", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szReason);
        m_listing = "as found at the start\n";
        ManageLiveRules(RULE_ADD);
        (void)TakeCommands();
        m_listing = row.listing;
        ManageLiveRules(RULE_ADD);
        const auto commands = TakeCommands();
        if (std::string(row.szDeleted) == "none") {
            EXPECT_THAT(commands, ElementsAre(LIST));
        } else {
            ASSERT_THAT(commands, SizeIs(3));
            EXPECT_THAT(commands[1], StartsWith(std::string(RESTORE) + row.szDeleted + EMPTY_CHAINS + "-A "));
        }
    }
}

// What the kernel does with them is seen in the lab.
TEST_F(LiveRules, RefusedRulesAreReplacedAndTriedAgain) {
    for (const auto& [szRefused, nCommands] : {std::pair("conntrack", 5), {"conntrack", 3}, {"nothing", 3}}) {
        m_refused = szRefused;
        ManageLiveRules(RULE_ADD);
        EXPECT_THAT(TakeCommands(), SizeIs(nCommands));
        EXPECT_EQ(AreConnectionsWatched(), m_refused == "nothing");
    }
    m_refused = "u32";
    m_listing = "changed";
    ManageLiveRules(RULE_ADD);
    EXPECT_FALSE(AreConnectionsWatched()) << "nobody would read a mark";
}

TEST_F(LiveRules, PortLists) {
    g_ServiceConfig.nQueueNum = 3;
    g_ServiceConfig.bUseDefinedPorts = 1;
    CopyText(g_ServiceConfig.szHTTPPorts, "80,8080");
    CopyText(g_ServiceConfig.szHTTPSPorts, " 8443");
    CopyText(g_ServiceConfig.szFTPPorts, "90:80");
    ManageLiveRules(RULE_ADD);
    const auto commands = TakeCommands();
    EXPECT_THAT(commands[1],
                HasSubstr("-p tcp -m multiport --dports 80,8080 -m u32 --u32 \"0x4&0x1FFF=0x0&&"));
    EXPECT_THAT(commands[1], HasSubstr("-p tcp -m multiport --dports  8443 -m u32"));
    EXPECT_THAT(commands[1], HasSubstr("-A WEBSEC_LIVE_START -j NFQUEUE --queue-num 3\n"));
    EXPECT_THAT(commands[1], Not(HasSubstr("=0x52455452,0x43574420\""))) << "a wrong list is no rule";

    // Names that make the text too long: no half of it is run.
    CopyText(g_ServiceConfig.szIptableChain, std::string(511, 'C'));
    m_listing = "-A OUTPUT -j WEBSEC_LIVE\n";
    for (int nTimes = 0; nTimes < 9; ++nTimes)
        m_listing += "-A " + std::string(900, 'D') + " -j WEBSEC_LIVE\n";
    ManageLiveRules(RULE_ADD);
    EXPECT_THAT(TakeCommands(), Each(Not(HasSubstr("restore"))));
}

// What they do when they are is seen in the lab.
TEST_F(LiveRules, KeysAreOnWith1Alone) {
    g_bLiveTraffic = g_bCloseBypasses = 2;
    ManageIptableRules(RULE_ADD);
    EXPECT_THAT(TakeCommands(), SizeIs(6)) << "three plain rules of two commands";
    g_bLiveTraffic = g_bCloseBypasses = 0;
}
}  // namespace
