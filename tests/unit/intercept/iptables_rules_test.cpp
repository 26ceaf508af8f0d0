#include "intercept/iptables_rules.h"

#include <gmock/gmock.h>

#include "intercept/run_command.h"
#include "tests/support/rules_fixture.h"

namespace {
using recording_popen::AnswerWith;
using recording_popen::tagAnswer;
using recording_popen::TakeCommands;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

const std::string TABS = "\t\t\t\t\t\t\t\t\t\t";

// The u32 words of the FTP and HTTP rules; the TLS rule has its own.
const std::string WORDS = "0x4&0x1FFF=0x0&&0x0>>0x16&0x3C@0xC>>0x1A&0x3C@0x0=";
const std::string FTP_KEY = WORDS + "0x52455452,0x43574420";
const std::string HTTP_KEY = WORDS + "0x47455420,0x434F4E4E,0x52455452,0x43574420";
const std::string TLS_KEY =
    "0x4&0x1fff=0x0&&0x0>>0x16&0x3c@0xc>>0x1a&0x3c@0x0&0xffffff00=0x16030000:0x16030300&&"
    "0x0>>0x16&0x3c@0xc>>0x1a&0x3c@0x2&0xff=0x1";

class IptablesRules : public RulesTest {
  protected:
    static bool IsCount(const std::string& strCommand) {
        return strCommand.find(" -L ") != std::string::npos;
    }
    static std::string Count(const std::string& strKey) {
        return "/sbin/iptables -n -L POSTROUTING -t mangle | grep -i \"" + strKey + "\" | wc -l";
    }
    static std::string Primary(const std::string& strKey) {
        return "--tcp-flags ALL PSH,ACK -m u32 --u32 \"" + strKey + "\" -j NFQUEUE --queue-num";
    }
};

TEST_F(IptablesRules, MissingRulesAreInsertedToTheLetter) {
    g_ServiceConfig.nQueueNum = 3;
    AnswerWith([](const std::string& c) { return tagAnswer{IsCount(c) ? "0\n" : "", 0}; });
    ManageIptableRules(RULE_ADD);
    const std::string insert = "/sbin/iptables -I POSTROUTING -t mangle -p tcp ";
    EXPECT_THAT(TakeCommands(), ElementsAre(Count(FTP_KEY), insert + Primary(FTP_KEY) + " 3",  //
                                            Count(HTTP_KEY), insert + Primary(HTTP_KEY) + " 3",
                                            Count(TLS_KEY), insert + Primary(TLS_KEY) + " 3"));
}

TEST_F(IptablesRules, ARefusedPrimaryLeadsToTheFallbackWithItsBlanks) {
    g_ServiceConfig.bUseDefinedPorts = 1;
    CopyText(g_ServiceConfig.szFTPPorts, "21");
    CopyText(g_ServiceConfig.szHTTPPorts, "80,8080");
    CopyText(g_ServiceConfig.szHTTPSPorts, "443");
    AnswerWith([](const std::string& c) {
        return tagAnswer{IsCount(c) ? "0\n" : "", c.find("-m u32") != std::string::npos ? 2 : 0};
    });
    ManageIptableRules(RULE_ADD);
    const auto ports = [](const char* szPorts) {
        return "/sbin/iptables -I POSTROUTING -t mangle -p tcp --match multiport --dports " +
               std::string(szPorts) + " --tcp-flags ALL PSH,ACK ";
    };
    const auto commands = TakeCommands();
    ASSERT_THAT(commands, SizeIs(12));
    EXPECT_EQ(commands[2], Count("RETR"));
    EXPECT_EQ(commands[3], ports("21") + TABS + "-m string --hex-string '|52455452|' " + TABS +
                               "--from 40 --algo bm  -j NFQUEUE --queue-num 0");
    EXPECT_EQ(commands[6], Count("HTTP/"));
    EXPECT_EQ(commands[7], ports("80,8080") + TABS + "-m string --hex-string '|485454502F|' " + TABS +
                               "--from 40 --algo bm  -j NFQUEUE --queue-num 0");
    EXPECT_EQ(commands[10], Count("1603"));
    EXPECT_EQ(commands[11], ports("443") + TABS + "\t-m string --hex-string '|1603|' " + TABS +
                                "\t--from 40 --to 122 --algo bm  -j NFQUEUE --queue-num  0");
}

// What one rule's state in the chain leads to.
TEST_F(IptablesRules, OneRuleByItsCount) {
    const struct {
        const char* szCount;
        uint32_t nMode;
        const char* szSecond;  // the command after the count, "" for none
    } cases[] = {
        {"1\n", RULE_ADD, ""},
        {"0\n", RULE_ADD, "/sbin/iptables -I POSTROUTING -t mangle RULE"},
        {"1\n", RULE_REMOVE, "/sbin/iptables -D POSTROUTING -t mangle RULE"},
        {"2\n", RULE_ADD, "/sbin/iptables -F POSTROUTING -t mangle"},
        {"-1\n", RULE_ADD, "/sbin/iptables -F POSTROUTING -t mangle"},  // compared unsigned
    };
    for (const auto& c : cases) {
        AnswerWith([&](const std::string& command) {
            return IsCount(command) ? tagAnswer{c.szCount, 0} : tagAnswer{"", 4};
        });
        const uint32_t nStatus = ApplyIptableRule("RULE", "KEY", c.nMode);
        const auto commands = TakeCommands();
        ASSERT_THAT(commands, SizeIs(*c.szSecond ? 2 : 1)) << c.szCount << c.nMode;
        if (*c.szSecond) {
            EXPECT_EQ(commands[1], c.szSecond);
        }
        EXPECT_EQ(nStatus, *c.szSecond ? 4u : 0u) << "that of the last command";
    }
    EXPECT_EQ(ApplyIptableRule(nullptr, "KEY", RULE_ADD), 1u);
    AnswerWith([](const std::string&) { return tagAnswer{"0\n", 5}; });
    EXPECT_EQ(ApplyIptableRule("RULE", "KEY", RULE_ADD), 5u);
    EXPECT_THAT(TakeCommands(), SizeIs(1)) << "a failed count changes nothing";
}

TEST_F(IptablesRules, RemovalTakesThePrimaryFirstAndLooksForTheFallbackToo) {
    AnswerWith([](const std::string& c) { return tagAnswer{IsCount(c) ? "1\n" : "", 0}; });
    ManageIptableRules(RULE_REMOVE);
    const auto commands = TakeCommands();
    ASSERT_THAT(commands, SizeIs(12));
    EXPECT_EQ(commands[8], Count(TLS_KEY));
    EXPECT_THAT(commands[9], HasSubstr(" -D POSTROUTING -t mangle -p tcp " + Primary(TLS_KEY) + " 0"));
    EXPECT_EQ(commands[10], Count("1603.* NFQUEUE num 0"));  // others' rules for a port 1603 are not meant
    EXPECT_THAT(commands[11], HasSubstr("'|1603|'"));
}

TEST(RunCommand, KeepsWhatFitsAndTheExitStatus) {
    char szOut[5] = "old";
    uint32_t nStatus = 99;
    EXPECT_EQ(RunCommand("printf 'a\\nbcdef'; echo lost >&2; exit 3", szOut, sizeof szOut, &nStatus), 0);
    EXPECT_STREQ(szOut, "a\nbc");
    EXPECT_EQ(nStatus, 3u);
    EXPECT_EQ(RunCommand("head -c 5000 /dev/zero | tr '\\0' x", szOut, sizeof szOut, &nStatus), 0);
    EXPECT_STREQ(szOut, "xxxx") << "pieces longer than a line buffer";
    EXPECT_EQ(RunCommand(nullptr, szOut, sizeof szOut, &nStatus), -1);
    EXPECT_EQ(RunCommand("true", szOut, 0, &nStatus), -1);
    EXPECT_STREQ(szOut, "xxxx") << "a refused call changes nothing";
}
}  // namespace
