// What is said of a websec.cfg that does not say what was meant.
#include "ctl/config_check.h"

#include <gmock/gmock.h>

#include "common/copy_text.h"
#include "run_websecctl.h"
#include "service/read_config.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class ConfigCheck : public WebsecctlTest {
  protected:
    std::vector<std::string> Problems(const std::string& text) {
        WriteFile("websec.cfg", text);
        return CheckServiceConfig(Path("websec.cfg")).problems;
    }
    std::vector<std::string> NoRules(const std::string& keys) {
        WriteFile("websec.cfg", "[IPTABLEConfigurations]\n" + keys);
        g_ServiceConfig = {};
        ReadRuleKeys(Path("websec.cfg").c_str());
        return WhyNoRules(g_ServiceConfig);
    }
};

TEST_F(ConfigCheck, TakesWhatTheDaemonTakes) {
    EXPECT_THAT(Problems(" # all keys\n \n[iptableconfigurations]\n queueNum = 65535\niptableTable=raw\n"
                         "iptableChain=MY-CHAIN\nUseDefinedPorts=1\nHTTPPorts=80,8000:8100\n"
                         "[ServiceConfigurations]\n; modes\ncatengine=2\nLiveTraffic=0\nCloseBypasses=1\n"),
                IsEmpty());
    EXPECT_THAT(Problems(""), IsEmpty());
    EXPECT_FALSE(CheckServiceConfig(Path("none.cfg")).bThere);
}

TEST_F(ConfigCheck, NamesWhatTheDaemonTakesOtherwise) {
    const std::pair<const char*, const char*> rows[] = {
        {"[IPTABLEConfigurations]\nqueueNum=5x", "queueNum is '5x', not a number from 0 to 65535"},
        {"[IPTABLEConfigurations]\nqueueNum=", "queueNum is '', not"},
        {"[IPTABLEConfigurations]\nqueueNum=1\nQueueNum=2", "'QueueNum' stands twice: websec reads"},
        {"[ServiceConfigurations]\n[iptableconfigurations]\n[serviceconfigurations]\nLiveTraffic=1",
         "the section 'serviceconfigurations' stands twice"},
        {"[IPTABLEConfigurations]\niptableChain", "'iptableChain' has no '=': its default holds"},
        {"[ServiceConfigurations]\ncatEngine=256", "catEngine is '256', not 0, 1 or 2"},
        {"[ServiceConfigurations]\nqueueNum=1", "'queueNum' in section 'ServiceConfigurations'"},
        {"[ServiceConfigurations]\ncatEngin=1", "'catEngin' in section"},
        {"[Service]", "the section 'Service' is not known"},
        {"catEngine=2", "'catEngine' in section '' is not known"},
        {"[ServiceConfigurations", "has no ']'"},
    };
    for (const auto& [szLine, szProblem] : rows)
        EXPECT_THAT(Problems(szLine), ElementsAre(HasSubstr(szProblem))) << szLine;
    EXPECT_THAT(CheckServiceConfig(Path("")).problems, ElementsAre(HasSubstr("cannot be read")));
}

TEST_F(ConfigCheck, NamesWhatNoRuleCanBeMadeOf) {
    constexpr char PORTS[] = "UseDefinedPorts=1\nFTPPorts=";
    const struct {
        std::string keys;
        const char* szReason;  // null: none
    } rows[] = {
        {"", nullptr},
        {"iptableTable=raw\niptableChain=MY-CHAIN\nHTTPPorts=none in use", nullptr},
        {"iptableTable=security\niptableChain=OUTPUT", nullptr},
        {"queueNum=65536", "queueNum is 65536, not"},
        {"queueNum=-1", "queueNum is -1, not"},
        {"iptableTable=Mangle", "iptableTable is 'Mangle', not"},
        {"iptableTable=nat", "first packet of a connection"},
        {"iptableTable=filter", "'POSTROUTING', which the table filter does not have"},
        {"iptableChain=INPUT", "'INPUT', through which nothing goes that this host sends"},
        {"iptableChain=", "iptableChain is '', not the name"},
        {"iptableChain=X;id", "iptableChain is 'X;id', not the name"},
        {"iptableChain=-X", "iptableChain is '-X', not the name"},
        {PORTS + std::string("1,2,3,4,5,6,7,8,9,10,11,12,13,14:15"), nullptr},
        {PORTS + std::string("1,2,3,4,5,6,7,8,9,10,11,12,13,14,15:16"), "15 at most"},
        {PORTS + std::string("90:80"), "'90:80', not ports"},
        {PORTS + std::string("80:80"), "'80:80', not ports"},
        {PORTS + std::string("80,,81"), "'80,,81', not ports"},
        {PORTS + std::string(), "FTPPorts, with the ports of other files, is '', not ports"},
    };
    for (const auto& row : rows) {
        auto reasons = NoRules(row.keys);
        if (row.keys.starts_with(PORTS)) {
            EXPECT_THAT(reasons, IsEmpty()) << "the other lists work: " << row.keys;
            reasons = BadPortLists(g_ServiceConfig);
        }
        ASSERT_EQ(reasons.size(), row.szReason ? 1u : 0u) << row.keys;
        EXPECT_THAT(row.szReason ? reasons[0] : "", HasSubstr(row.szReason ? row.szReason : ""));
    }
}

// Left rules may be those of a configuration that no longer makes any.
TEST_F(ConfigCheck, ShellsGetNamesAndPortsAlone) {
    for (const char* szKeys : {"iptableChain=X;id", "iptableTable=`id`", "iptableTable=bogus"}) {
        (void)NoRules(szKeys);
        EXPECT_FALSE(IsPlaceForRules(g_ServiceConfig)) << szKeys;
    }
    EXPECT_THAT(NoRules("UseDefinedPorts=1\nHTTPPorts=$(id)"), ElementsAre(HasSubstr("HTTPPorts")));
    EXPECT_FALSE(ArePortsFitForShell(g_ServiceConfig));
    EXPECT_EQ(NoRules("UseDefinedPorts=1\nHTTPPorts=\nHTTPSPorts=x\nFTPPorts=0:0").size(), 3u);
    (void)NoRules("queueNum=70000\niptableTable=nat\nUseDefinedPorts=1\nHTTPPorts=80,,81:80");
    EXPECT_TRUE(IsPlaceForRules(g_ServiceConfig) && ArePortsFitForShell(g_ServiceConfig));
    // Of ports that are not in use nothing is handed on.
    (void)CopyText(g_ServiceConfig.szHTTPPorts, "$(id)");
    g_ServiceConfig.bUseDefinedPorts = 0;
    EXPECT_TRUE(ArePortsFitForShell(g_ServiceConfig));
}

}  // namespace
