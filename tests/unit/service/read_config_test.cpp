#include "service/read_config.h"

#include <gmock/gmock.h>

#include <optional>

#include "common/product_paths.h"
#include "service/service_config.h"
#include "tests/support/data_file_writer.h"
#include "tests/unit/service/private_machine.h"

namespace {

std::string PortFile(std::initializer_list<uint16_t> ports) {
    std::string body = BytesOf(static_cast<uint16_t>(ports.size()));
    for (const uint16_t nPort : ports)
        body += BytesOf(tagPortRecord{{1, 2}, nPort});
    return MakeDataFile(body);
}

class ReadConfig : public testing::Test {
  protected:
    void SetUp() override {
        const std::string missing = EnterPrivateMachine();
        if (!missing.empty()) GTEST_SKIP() << missing;
        SetIptablesPlaces({"/usr/sbin/iptables"});
    }
    void TearDown() override {
        FreePortTable(g_WebFilterPorts);
        g_ServiceConfig = {};
        g_InetSettings = {};
    }
};

TEST_F(ReadConfig, PortLists) {
    const std::string on = "[IPTABLEConfigurations]\nUseDefinedPorts=1\n";
    const std::string off = "[IPTABLEConfigurations]\nUseDefinedPorts=256\n";
    const std::string longest(506, '1'), tooLong(507, '1');
    const struct {
        const char* szReason;
        std::optional<std::string> config, ports, inet;
        std::string http, https, ftp;
    } rows[] = {
        {"no file: no lists", {}, PortFile({8080}), Inet(3128), "", "", ""},
        {"options' port not in use", on, {}, Inet(3128, 2), "80", "443", "21"},
        {"both", on, PortFile({8080}), Inet(65535), "80,8080,65535", "443,8080,65535", "21,8080,65535"},
        {"empty list, extra port", on + "HTTPPorts=\n", PortFile({8080}), {}, " 8080", "443,8080", "21,8080"},
        {"empty list, options' port", on + "FTPPorts=\n", {}, Inet(3128), "80,3128", "443,3128", ",3128"},
        {"damaged port file", on, PortFile({8080}) + "x", Inet(3128), "80,3128", "443,3128", "21,3128"},
        {"just fits, does not fit",
         on + "HTTPPorts=" + longest + "\nHTTPSPorts=" + tooLong + "\n",
         PortFile({8080}),
         {},
         longest + ",8080",
         tooLong,
         "21,8080"},
        {"only eight bits count", off, PortFile({8080}), {}, "", "", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szReason);
        EmptyProductFolder();
        if (row.config) PutFile(SERVICE_CONFIG_FILE, *row.config);
        if (row.ports) PutFile(EXTRA_PORT_FILE, *row.ports);
        if (row.inet) PutFile(INET_OPTIONS_FILE, *row.inet);
        g_InetSettings.nPort = 9;
        EXPECT_EQ(ReadServiceConfig(), 0);
        EXPECT_EQ(g_ServiceConfig.szHTTPPorts, row.http);
        EXPECT_EQ(g_ServiceConfig.szHTTPSPorts, row.https);
        EXPECT_EQ(g_ServiceConfig.szFTPPorts, row.ftp);
        EXPECT_EQ(g_ServiceConfig.bUseDefinedPorts, row.http.empty() ? 0 : 1);
        EXPECT_EQ(g_InetSettings.nPort == 9, row.http.empty()) << "options are read with the lists alone";
    }
}

TEST_F(ReadConfig, KeysAndTheirDefaults) {
    EmptyProductFolder();
    EXPECT_EQ(ReadServiceConfig(), 0);
    EXPECT_EQ(g_ServiceConfig.nQueueNum, 0u);
    EXPECT_STREQ(g_ServiceConfig.szIptablesPath, "/usr/sbin/iptables");
    EXPECT_STREQ(g_ServiceConfig.szIptableChain, "POSTROUTING");
    EXPECT_STREQ(g_ServiceConfig.szIptableTable, "mangle");

    PutFile(SERVICE_CONFIG_FILE,
            "[ServiceConfigurations]\nqueueNum=4\n"
            "[IPTABLEConfigurations]\nqueueNum=70000\niptableChain=OUTPUT\niptableTable=raw\n");
    EXPECT_EQ(ReadServiceConfig(), 0);
    EXPECT_EQ(g_ServiceConfig.nQueueNum, 70000u);
    EXPECT_STREQ(g_ServiceConfig.szIptableChain, "OUTPUT");
    EXPECT_STREQ(g_ServiceConfig.szIptableTable, "raw");

    SetIptablesPlaces({});
    EXPECT_EQ(ReadServiceConfig(), CONFIG_NO_IPTABLES);
    EXPECT_EQ(BytesOf(g_ServiceConfig), BytesOf(tagServiceConfig{})) << "nothing else is read";
}

TEST(FindIptablesPath, TakesTheFirstThatExists) {
    const std::vector<std::string> order = {"/sbin/iptables",           "/usr/sbin/iptables",
                                            "/usr/local/sbin/iptables", "/bin/iptables",
                                            "/usr/bin/iptables",        "/usr/local/bin/iptables"};
    char szOut[32] = "unchanged";
    SetIptablesPlaces({});
    EXPECT_EQ(FindIptablesPath(szOut, sizeof szOut), 1);
    EXPECT_STREQ(szOut, "unchanged");
    for (auto first = order.begin(); first != order.end(); ++first) {
        SetIptablesPlaces({first, order.end()});
        EXPECT_EQ(FindIptablesPath(szOut, sizeof szOut), 0);
        EXPECT_EQ(szOut, *first);
    }
    EXPECT_EQ(FindIptablesPath(nullptr, 512), 2);
    EXPECT_EQ(FindIptablesPath(szOut, 4), 0);
    EXPECT_EQ(std::string(szOut, 10), "/usr/local") << "four bytes, no terminator";
}

}  // namespace
