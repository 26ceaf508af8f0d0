// urlcheck.so, loaded as the daemon loads it.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>

#include "policy/url_scanner.h"
#include "tests/unit/modules/list_folder.h"

namespace {

class URLCheckTest : public ListFolderTest {
  protected:
    void SetUp() override {
        ListFolderTest::SetUp();
        m_pModule = dlopen(URLCHECK_FILE, RTLD_NOW);
        ASSERT_NE(m_pModule, nullptr) << dlerror();
        Resolve("InitURLScan", m_pfnInit);
        Resolve("DeinitURLScan", m_pfnDeinit);
        Resolve("ScanURLForAPSH", m_pfnPhishing);
        Resolve("ScanURLForBP", m_pfnHarmful);
    }
    void TearDown() override {
        if (m_pModule) {
            EXPECT_EQ(m_pfnDeinit(), 1);
            dlclose(m_pModule);
        }
        ListFolderTest::TearDown();
    }
    template <class Fn>
    void Resolve(const char* szName, Fn& pfn) {
        pfn = reinterpret_cast<Fn>(dlsym(m_pModule, szName));
        ASSERT_NE(pfn, nullptr) << szName;
    }
    // The threat's name, "" for a URL that is not harmful. Checks that only the buffer's 256 bytes are
    // written.
    std::string Harm(const char* szURL) {
        char szThreat[260] = {};
        std::memset(szThreat + 256, '#', 4);
        const int nResult = m_pfnHarmful(szURL, szThreat);
        EXPECT_EQ(std::memcmp(szThreat + 256, "####", 4), 0);
        EXPECT_EQ(nResult == 1, szThreat[0] != '\0');
        return szThreat;
    }

    void* m_pModule = nullptr;
    InitURLScanFn m_pfnInit = nullptr;
    DeinitURLScanFn m_pfnDeinit = nullptr;
    ScanURLForAPSHFn m_pfnPhishing = nullptr;
    ScanURLForBPFn m_pfnHarmful = nullptr;
};

TEST_F(URLCheckTest, EachScanHasItsList) {
    WriteThreats(PHISHING_LIST, {{"bank.example/login/", "Phish"}});
    WriteThreats(HARMFUL_LIST, {{"evil.example", "Trojan.X"}, {"long.example", std::string(300, 'n')}});
    EXPECT_NE(m_pfnInit(), 0);
    EXPECT_EQ(m_pfnPhishing("www.bank.example/login"), 1);
    EXPECT_EQ(m_pfnPhishing("bank.example"), 0);
    EXPECT_EQ(m_pfnPhishing("evil.example"), 0);
    EXPECT_EQ(Harm("evil.example/x?y"), "Trojan.X");
    EXPECT_EQ(Harm("bank.example/login"), "");
    EXPECT_EQ(Harm("long.example"), std::string(255, 'n'));
    EXPECT_EQ(m_pfnHarmful("evil.example", nullptr), 1);
    EXPECT_EQ(m_pfnPhishing(nullptr), 0);
    EXPECT_EQ(Harm(""), "");
}

TEST_F(URLCheckTest, NewListsAreTakenAtTheNextStart) {
    EXPECT_EQ(m_pfnPhishing("old.example"), 0) << "before the start";
    m_folder.Put(PHISHING_LIST, "damaged");
    WriteThreats(HARMFUL_LIST, {{"old.example", "Old"}});
    EXPECT_NE(m_pfnInit(), 0);
    EXPECT_EQ(m_pfnPhishing("old.example"), 0);
    WriteThreats(HARMFUL_LIST, {{"new.example", "New"}});
    EXPECT_EQ(Harm("old.example"), "Old");
    EXPECT_EQ(Harm("new.example"), "");
    EXPECT_EQ(m_pfnDeinit(), 1);
    EXPECT_EQ(Harm("old.example"), "");
    m_pfnInit();
    EXPECT_EQ(Harm("old.example"), "");
    EXPECT_EQ(Harm("new.example"), "New");
}

}  // namespace
