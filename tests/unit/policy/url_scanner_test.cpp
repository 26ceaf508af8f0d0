#include "policy/url_scanner.h"

#include <dlfcn.h>

#include <cstring>
#include <string>

#include "tests/support/policy_fixture.h"
#include "tests/unit/policy/scanner_plugin.h"

namespace {

constexpr char WHOLE_SCANNER[] = SCANNER_DIR "/scanner_whole.so";

bool IsOpen(const char* szPath) {
    void* hLibrary = dlopen(szPath, RTLD_NOW | RTLD_NOLOAD);
    if (hLibrary) dlclose(hLibrary);
    return hLibrary != nullptr;
}

class UrlScannerTest : public PolicyTest {
  protected:
    void TearDown() override {
        if (g_bURLScannerLoaded) Script().nDeinit = 1;
        EXPECT_EQ(UnloadURLScanner(), 1);
        PolicyTest::TearDown();
    }
    static tagScannerScript& Script() {
        void* hLibrary = dlopen(WHOLE_SCANNER, RTLD_NOW | RTLD_NOLOAD);
        auto* pScript = static_cast<tagScannerScript*>(dlsym(hLibrary, "g_ScannerScript"));
        dlclose(hLibrary);
        return *pScript;
    }
};

TEST_F(UrlScannerTest, AnUnusablePlugInIsClosedAgain) {
    for (const char* szPath : {SCANNER_DIR "/none.so", SCANNER_DIR "/scanner_lacks_symbol.so",
                               SCANNER_DIR "/scanner_init_fails.so"}) {
        LoadURLScannerFrom(szPath);
        EXPECT_EQ(g_bURLScannerLoaded, 0) << szPath;
        EXPECT_EQ(g_pfnInitURLScan, nullptr) << szPath;
        EXPECT_FALSE(IsOpen(szPath)) << szPath;
        EXPECT_EQ(UnloadURLScanner(), 1);
        tagWebRequest request = {};
        EXPECT_EQ(ScanURL(&request), -1);
    }
}

TEST_F(UrlScannerTest, StaysLoadedWhileItRefusesToShutDown) {
    LoadURLScannerFrom(WHOLE_SCANNER);
    ASSERT_EQ(g_bURLScannerLoaded, 1);
    for (const int nRefusal : {0, 2}) {
        Script().nDeinit = nRefusal;
        EXPECT_EQ(UnloadURLScanner(), 0);
        EXPECT_EQ(g_bURLScannerLoaded, 1);
    }
    LoadURLScannerFrom(SCANNER_DIR "/none.so");
    tagWebRequest request = {};
    EXPECT_EQ(ScanURL(&request), 0) << "the old instance goes on";

    Script().nDeinit = 1;
    EXPECT_EQ(UnloadURLScanner(), 1);
    EXPECT_EQ(g_bURLScannerLoaded, 0);
    EXPECT_EQ(g_pfnScanURLForBP, nullptr);
    EXPECT_FALSE(IsOpen(WHOLE_SCANNER));
}

TEST_F(UrlScannerTest, ScansWhatTheSwitchesAskFor) {
    LoadURLScannerFrom(WHOLE_SCANNER);
    ASSERT_EQ(g_bURLScannerLoaded, 1);
    const struct {
        const char* szReason;
        uint8_t bPhishing, bBrowsing;
        int nPhishing, nHarm;
        uint32_t nExpected;
        int nPhishingScans, nHarmScans;
    } rows[] = {
        {"both off", 0, 0, 1, 1, RESULT_NONE, 0, 0},
        {"phishing decides before harm", 1, 1, 1, 1, RESULT_FRAUDULENT, 1, 0},
        {"not phishing, harmful", 1, 1, 0, 1, RESULT_HARMFUL, 1, 1},
        {"2 is not phishing", 1, 1, 2, 1, RESULT_HARMFUL, 1, 1},
        {"browsing protection alone", 0, 1, 1, 1, RESULT_HARMFUL, 0, 1},
        {"phishing protection alone", 1, 0, 0, 1, RESULT_NONE, 1, 0},
        {"-1 is not harmful", 1, 1, -1, -1, RESULT_NONE, 1, 1},
        {"switches of another value are off", 2, 2, 1, 1, RESULT_NONE, 0, 0},
    };
    for (const auto& row : rows) {
        g_bPhishingProtection = row.bPhishing;
        g_bBrowsingProtection = row.bBrowsing;
        Script() = {1, row.nPhishing, row.nHarm, 0, 0, "Threat.A"};
        tagWebRequest request = {};
        EXPECT_EQ(ScanURL(&request), 0);
        EXPECT_EQ(request.nResult, row.nExpected) << row.szReason;
        EXPECT_EQ(Script().nPhishingScans, row.nPhishingScans) << row.szReason;
        EXPECT_EQ(Script().nHarmScans, row.nHarmScans) << row.szReason;
        EXPECT_STREQ(request.szThreatName, row.nExpected == RESULT_HARMFUL ? "Threat.A" : "") << row.szReason;
        EXPECT_EQ(request.wszReportText[0] != 0, row.nExpected != RESULT_NONE) << row.szReason;
    }
}

TEST_F(UrlScannerTest, AThreatNameThatFillsTheBufferIsCut) {
    LoadURLScannerFrom(WHOLE_SCANNER);
    ASSERT_EQ(g_bURLScannerLoaded, 1);
    g_bBrowsingProtection = 1;
    Script().nHarm = 1;
    std::memset(Script().szThreat, 'x', sizeof Script().szThreat);
    tagWebRequest request = {};
    EXPECT_EQ(ScanURL(&request), 0);
    EXPECT_EQ(std::string(request.szThreatName), std::string(254, 'x'));
}

}  // namespace
