// What is said of a websec.cfg that does not say what was meant.
#include "ctl/config_check.h"

#include <gmock/gmock.h>

#include "run_websecctl.h"

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
};

TEST_F(ConfigCheck, TakesWhatTheDaemonTakes) {
    EXPECT_THAT(Problems("# all keys\n[iptableconfigurations]\n queueNum = 65535\niptableTable=raw\n"
                         "iptableChain=MY-CHAIN\nUseDefinedPorts=1\nHTTPPorts=80,8000:8100\n"
                         "[ServiceConfigurations]\n; modes\ncatengine=2\nLiveTraffic=0\nCloseBypasses=1\n"),
                IsEmpty());
    EXPECT_THAT(Problems(""), IsEmpty());
    EXPECT_FALSE(CheckServiceConfig(Path("none.cfg")).bThere);
}

TEST_F(ConfigCheck, NamesWhatTheDaemonTakesOtherwise) {
    const struct {
        const char* szLine;
        const char* szProblem;
    } rows[] = {
        {"[IPTABLEConfigurations]\nqueueNum=65536", "queueNum is '65536', not a number from 0 to 65535"},
        {"[IPTABLEConfigurations]\nqueueNum=", "queueNum is '', not"},
        {"[IPTABLEConfigurations]\niptableTable=Mangle", "iptableTable is 'Mangle'"},
        {"[IPTABLEConfigurations]\nHTTPPorts=80,,81", "HTTPPorts is '80,,81'"},
        {"[ServiceConfigurations]\ncatEngine=256", "catEngine is '256', not 0, 1 or 2"},
        {"[ServiceConfigurations]\nqueueNum=1", "'queueNum' in section 'ServiceConfigurations'"},
        {"[ServiceConfigurations]\ncatEngin=1", "'catEngin' in section"},
        {"[Service]", "the section 'Service' is not known"},
        {"catEngine=2", "'catEngine' in section '' is not known"},
        {"[ServiceConfigurations", "has no ']'"},
        {"[IPTABLEConfigurations]\niptableChain=X;id", "iptableChain is 'X;id'"},
    };
    for (const auto& row : rows)
        EXPECT_THAT(Problems(row.szLine), ElementsAre(HasSubstr(row.szProblem))) << row.szLine;
    EXPECT_THAT(CheckServiceConfig(Path("")).problems, ElementsAre(HasSubstr("cannot be read")));
}

}  // namespace
