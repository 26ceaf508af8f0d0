#include "policy/list_resolve.h"

#include <netdb.h>

#include <string>
#include <vector>

#include "tests/support/policy_fixture.h"
#include "tests/support/scripted_resolver.h"

namespace {

using Texts = std::vector<std::string>;

class ListResolveTest : public PolicyTest {
  protected:
    void SetUp() override {
        scripted_resolver::Answer("a.example", {"192.0.2.10", "2001:db8::1"});
        scripted_resolver::Answer("b.example", {"192.0.2.20"});
        scripted_resolver::Fail("busy.example", EAI_AGAIN);
    }
    void TearDown() override {
        scripted_resolver::Reset();
        PolicyTest::TearDown();
    }
};

TEST_F(ListResolveTest, HostsYieldAllTheirAddresses) {
    FillList(g_pBlockAddrList, {"10.0.0.1"});
    FillList(g_pBlockHostList, {".a.example", "busy.example", "b.example"});
    EXPECT_EQ(ResolveHostList(g_pBlockHostList, &g_pBlockAddrList), 0);
    EXPECT_EQ(scripted_resolver::Asked(), (Texts{"a.example", "busy.example", "b.example"}));
    EXPECT_EQ(TextsOf(g_pBlockAddrList), (Texts{"10.0.0.1", "192.0.2.10", "2001:db8::1", "192.0.2.20"}));
}

TEST_F(ListResolveTest, TheFirstUnknownHostEndsTheList) {
    FillList(g_pBlockHostList, {"b.example", "unknown.example", "a.example"});
    EXPECT_EQ(ResolveHostList(g_pBlockHostList, &g_pBlockAddrList), 0);
    EXPECT_EQ(scripted_resolver::Asked(), (Texts{"b.example", "unknown.example"}));
    EXPECT_EQ(TextsOf(g_pBlockAddrList), Texts{"192.0.2.20"});
}

TEST_F(ListResolveTest, URLsKeepTheirPath) {
    FillList(g_pAllowURLList,
             {"10.0.0.1", "unknown.example/p", "busy.example/p", ".a.example/p/q", "b.example/"});
    EXPECT_EQ(ResolveURLList(g_pAllowURLList, &g_pAllowAddrList), 0);
    EXPECT_EQ(scripted_resolver::Asked(),
              (Texts{"unknown.example", "busy.example", "a.example", "b.example"}));
    EXPECT_EQ(TextsOf(g_pAllowAddrList), (Texts{"192.0.2.10/p/q", "2001:db8::1/p/q", "192.0.2.20/"}));
}

TEST_F(ListResolveTest, AnAddressWithALongPathIsCut) {
    const std::string path = "/" + std::string(244, 'p');
    scripted_resolver::Answer("b.example", {"2001:db8:1:2:3:4:5:6"});
    FillList(g_pAllowURLList, {"b.example" + path});
    EXPECT_EQ(ResolveURLList(g_pAllowURLList, &g_pAllowAddrList), 0);
    EXPECT_EQ(TextsOf(g_pAllowAddrList), Texts{("2001:db8:1:2:3:4:5:6" + path).substr(0, 256)});
    EXPECT_EQ(ResolveURLList(nullptr, &g_pAllowAddrList), 2);
}

}  // namespace
