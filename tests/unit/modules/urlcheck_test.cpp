// urlcheck.so, bound as the daemon binds it.
#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <cstring>
#include <thread>

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

// Workers scan at once, each for another URL, and twice each.
TEST_F(URLCheckTest, NobodyGetsTheAnswerToAnothersQuestion) {
    WriteThreatList(PHISHING_LIST, {{"one.example", "P"}, {"two.example", "P"}});
    WriteThreatList(HARMFUL_LIST, {{"two.example", "H"}});
    Load();
    std::atomic<int> nWrong = 0;
    std::barrier begin(3);
    const auto scan = [&nWrong, &begin](const char* szURL, int nPhishing, int nHarmful) {
        begin.arrive_and_wait();
        for (int n = 0; n < 30'000; ++n) {
            nWrong += g_pfnScanURLForAPSH(szURL) != nPhishing;
            nWrong += g_pfnScanURLForBP(szURL, nullptr) != nHarmful;
        }
    };
    {
        std::jthread one(scan, "one.example/x", 1, 0), two(scan, "two.example/x", 1, 1);
        scan("three.example/x", 0, 0);
    }
    EXPECT_EQ(nWrong, 0);
}

}  // namespace
