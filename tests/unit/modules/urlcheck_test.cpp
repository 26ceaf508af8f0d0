// urlcheck.so, bound as the daemon binds it.
#include <gtest/gtest.h>

#include <cstring>

#include "policy/url_scanner.h"
#include "tests/unit/modules/list_folder.h"

namespace {

class URLCheckTest : public ListFolderTest {
  protected:
    void TearDown() override {
        EXPECT_EQ(UnloadURLScanner(), 1);
        ListFolderTest::TearDown();
    }
    static void Load() {
        LoadURLScannerFrom(URLCHECK_FILE);
        ASSERT_EQ(g_bURLScannerLoaded, 1);
    }
    // The threat's name, "" for a URL that is not harmful. Checks that only the buffer's 256 bytes are
    // written.
    static std::string Harm(const char* szURL) {
        char szThreat[260] = {};
        std::memset(szThreat + 256, '#', 4);
        const int nResult = g_pfnScanURLForBP(szURL, szThreat);
        EXPECT_EQ(std::memcmp(szThreat + 256, "####", 4), 0);
        EXPECT_EQ(nResult == 1, szThreat[0] != '\0');
        return szThreat;
    }
};

TEST_F(URLCheckTest, EachScanHasItsList) {
    WriteThreatList(PHISHING_LIST, {{"bank.example/login/", "Phish"}});
    WriteThreatList(HARMFUL_LIST, {{"evil.example", "Trojan.X"}, {"long.example", std::string(300, 'n')}});
    Load();
    EXPECT_EQ(g_pfnScanURLForAPSH("www.bank.example/login"), 1);
    EXPECT_EQ(g_pfnScanURLForAPSH("bank.example"), 0);
    EXPECT_EQ(g_pfnScanURLForAPSH("evil.example"), 0);
    EXPECT_EQ(Harm("evil.example/x?y"), "Trojan.X");
    EXPECT_EQ(Harm("bank.example/login"), "");
    EXPECT_EQ(Harm("long.example"), std::string(255, 'n'));
    EXPECT_EQ(g_pfnScanURLForBP("evil.example", nullptr), 1);
    EXPECT_EQ(g_pfnScanURLForAPSH(nullptr), 0);
    EXPECT_EQ(Harm(""), "");
    EXPECT_EQ(g_pfnDeinitURLScan(), 1);
    EXPECT_EQ(Harm("evil.example"), "");
}

}  // namespace
