#include "policy/url_scanner.h"

#include "tests/support/library_without.h"
#include "tests/support/policy_fixture.h"

namespace {

// What the scanner answers.
struct {
    int nDeinit, nPhishing, nHarm;
    std::string threat;
} g_Script;

class UrlScannerTest : public PolicyTest {
  protected:
    void SetUp() override {
        LoadURLScannerFrom(WHOLE_SCANNER);
        ASSERT_EQ(g_bURLScannerLoaded, 1);
        g_Script = {1, 0, 0, ""};
        g_pfnDeinitURLScan = [] { return g_Script.nDeinit; };
        g_pfnScanURLForAPSH = [](const char*) { return g_Script.nPhishing; };
        g_pfnScanURLForBP = [](const char*, char* szThreat) {
            g_Script.threat.copy(szThreat, 256);
            return g_Script.nHarm;
        };
    }
    void TearDown() override {
        g_Script.nDeinit = 1;
        EXPECT_EQ(UnloadURLScanner(), 1);
        PolicyTest::TearDown();
    }
};

TEST_F(UrlScannerTest, AnUnusablePlugInIsClosedAgain) {
    EXPECT_EQ(UnloadURLScanner(), 1);
    const TempFolder folder;
    for (const std::string& path : {PutLibraryWithout(folder, WHOLE_SCANNER, "ScanURLForBP"),
                                    std::string("/none.so"), std::string(FAILING_SCANNER)}) {
        LoadURLScannerFrom(path.c_str());
        EXPECT_EQ(g_bURLScannerLoaded, 0) << path;
        EXPECT_EQ(g_pfnInitURLScan, nullptr) << path;
        EXPECT_FALSE(IsLibraryOpen(path)) << path;
        EXPECT_EQ(UnloadURLScanner(), 1);
        tagWebRequest request = {};
        EXPECT_EQ(ScanURL(&request), -1);
    }
}

TEST_F(UrlScannerTest, StaysLoadedWhileItRefusesToShutDown) {
    for (const int nRefusal : {0, 2}) {
        g_Script.nDeinit = nRefusal;
        EXPECT_EQ(UnloadURLScanner(), 0);
        EXPECT_EQ(g_bURLScannerLoaded, 1);
    }
    LoadURLScannerFrom("/none.so");
    tagWebRequest request = {};
    EXPECT_EQ(ScanURL(&request), 0) << "the old instance goes on";

    g_Script.nDeinit = 1;
    EXPECT_EQ(UnloadURLScanner(), 1);
    EXPECT_EQ(g_bURLScannerLoaded, 0);
    EXPECT_EQ(g_pfnScanURLForBP, nullptr);
    EXPECT_FALSE(IsLibraryOpen(WHOLE_SCANNER));
}

TEST_F(UrlScannerTest, TakesTheScannersAnswers) {
    const std::string filling(256, 'x');
    const struct {
        const char* szReason;
        int nPhishing, nHarm;
        uint32_t nExpected;
    } rows[] = {
        {"2 is not phishing", 2, 1, RESULT_HARMFUL},
        {"-1 is not harmful", -1, -1, RESULT_NONE},
        {"phishing decides before harm", 1, 1, RESULT_FRAUDULENT},
    };
    g_bPhishingProtection = g_bBrowsingProtection = 1;
    for (const auto& row : rows) {
        g_Script = {1, row.nPhishing, row.nHarm, filling};
        tagWebRequest request = {};
        EXPECT_EQ(ScanURL(&request), 0);
        EXPECT_EQ(request.nResult, row.nExpected) << row.szReason;
        EXPECT_EQ(request.szThreatName, row.nExpected == RESULT_HARMFUL ? filling.substr(2) : "")
            << row.szReason;
    }
}

}  // namespace
