// The two report modules as the daemon meets them: shared objects that are known by their symbols.
#include <dlfcn.h>
#include <gmock/gmock.h>

#include <thread>

#include "modules/store/store_settings.h"
#include "report/report_module.h"
#include "tests/unit/modules/temp_store.h"

namespace {
using InsertClientReportDataFn = uint8_t (*)(uint32_t, void*, uint32_t*);

class ReportModulesTest : public TempStoreTest {
  protected:
    void SetUp() override {
        TempStoreTest::SetUp();
        LoadReportModuleFrom(DBMOD_FILE);
        ASSERT_EQ(g_bReportModuleLoaded, 1);
        // A copy is loaded beside the one that the program is linked with, and unloaded for certain.
        const std::string copy = m_folder.Path("clrptmod.so");
        std::filesystem::copy_file(CLRPTMOD_FILE, copy);
        m_pClRptMod = dlopen(copy.c_str(), RTLD_LAZY);
        ASSERT_NE(m_pClRptMod, nullptr) << dlerror();
        m_pfnClient =
            reinterpret_cast<InsertClientReportDataFn>(dlsym(m_pClRptMod, "InsertClientReportData"));
    }
    void TearDown() override {
        UnloadReportModule();
        if (m_pClRptMod) dlclose(m_pClRptMod);
        ReleaseSettings(m_settings);
        TempStoreTest::TearDown();
    }

    void* m_pClRptMod = nullptr;
    InsertClientReportDataFn m_pfnClient = nullptr;
    tagClientSettingData m_settings = {};
};

TEST_F(ReportModulesTest, FillsTheSettingsRecordFromTheStore) {
    CreateStore();
    WriteSwitch(&m_store, SWITCH_PHISHING, 0);
    WriteSwitch(&m_store, SWITCH_CATEGORY, 1);
    AddStoredEntry(&m_store, STORE_LIST_BLOCK, "first.example", 1);
    AddStoredEntry(&m_store, STORE_LIST_BLOCK, "caf\xC3\xA9.example", 0);
    AddStoredEntry(&m_store, STORE_LIST_ALLOW, std::string(1023, 'a').c_str(), 0);
    AddStoredEntry(&m_store, STORE_LIST_TRUST, "t.example", 0);
    SetStoredCategory(&m_store, 50, 0);

    uint32_t nStatus = 77;
    ASSERT_TRUE(g_pfnGetClientAllSettingData(&m_settings, &nStatus));
    EXPECT_EQ(nStatus, 0u);
    EXPECT_EQ(m_settings.nPhishingProtection, 0u);
    EXPECT_EQ(m_settings.nWebCategoryFilter, 1u);
    const auto block = Elements(m_settings.vecBlockList);
    ASSERT_EQ(block.size(), 2u);
    EXPECT_EQ(std::u16string(block[0].wszText), u"first.example");
    EXPECT_EQ(block[0].bSubdomains, 1u);
    EXPECT_EQ(std::u16string(block[1].wszText), u"caf\xFFC3\xFFA9.example");
    EXPECT_EQ(std::u16string(Elements(m_settings.vecAllowList)[0].wszText), std::u16string(1023, u'a'));
    EXPECT_EQ(std::u16string(Elements(m_settings.vecTrustedSites)[0].wszText), u"t.example");

    tagClientSettingData walked{};
    std::u16string taken;
    const auto take = [](uint8_t nList, const char16_t* wszText, uint32_t bSubdomains, void* pTaken) {
        *static_cast<std::u16string*>(pTaken) += {char16_t(u'0' + nList), char16_t(u'0' + bSubdomains)};
        *static_cast<std::u16string*>(pTaken) += wszText + std::u16string(u" ");
        return nList != LIST_ALLOW;
    };
    EXPECT_FALSE(g_pfnWalkClientSettingData(&walked, take, &taken, nullptr)) << "the third was not taken";
    EXPECT_EQ(taken, u"01first.example 00caf\xFFC3\xFFA9.example 10" + std::u16string(1023, u'a') + u" ");
    EXPECT_EQ(walked.nWebCategoryFilter, 1u);
    EXPECT_EQ(walked.vecBlockList.pFirst, nullptr);
    ReleaseSettings(walked);
    const auto categories = Elements(m_settings.vecCategories);
    ASSERT_EQ(categories.size(), 1u);
    EXPECT_EQ(categories[0].bBlocked, 0u);
}

TEST_F(ReportModulesTest, SaysWhetherTheSettingsCouldBeFetched) {
    uint32_t nStatus = 0;
    EXPECT_FALSE(g_pfnGetClientAllSettingData(&m_settings, &nStatus));
    EXPECT_EQ(nStatus, static_cast<uint32_t>(STORE_MISSING));
    EXPECT_FALSE(std::filesystem::exists(m_file));
    CreateStore();
    ASSERT_EQ(BeginStoreChange(&m_store), STORE_OK);
    WriteSwitch(&m_store, SWITCH_REPORT, 0);
    EXPECT_TRUE(g_pfnGetClientAllSettingData(&m_settings, nullptr)) << "another program writes";
    EXPECT_EQ(m_settings.nReportBlocked, 1u);
    ReleaseSettings(m_settings);
    ASSERT_EQ(EndStoreChange(&m_store, 0), STORE_OK);
    RunOn(m_file, "DROP TABLE categories");
    EXPECT_FALSE(g_pfnGetClientAllSettingData(&m_settings, nullptr));
    RunOn(m_file, "PRAGMA user_version = 9");
    EXPECT_FALSE(g_pfnGetClientAllSettingData(&m_settings, &nStatus));
    EXPECT_EQ(nStatus, static_cast<uint32_t>(STORE_NEWER));
}

TEST_F(ReportModulesTest, EachTakesItsOwnTypes) {
    CreateStore();
    ReportRecordBlock block = BlockRecord("a.example");
    ClientReportRecord client = ClientRecord("a.example");
    uint32_t nStatus = 77;
    EXPECT_EQ(g_pfnInsertClientReportData(REPORT_CLIENT, &client, &nStatus), 0);
    EXPECT_EQ(nStatus, 1u);
    EXPECT_EQ(m_pfnClient(REPORT_BLOCK, &block, nullptr), 0);
    EXPECT_EQ(g_pfnInsertClientReportData(REPORT_BLOCK, nullptr, nullptr), 0);
    EXPECT_EQ(m_pfnClient(REPORT_CLIENT, &client, &nStatus), 1);
    EXPECT_EQ(nStatus, 0u);
}

// Every worker reports to both modules; the end of the process stores the rest and joins the halves of each
// block. On a busy machine one batch may get no processor for the second that a module waits: not three
// times.
TEST_F(ReportModulesTest, LosesNothingAtTheEndOfTheProcess) {
    constexpr int THREADS = 4;
    constexpr int BLOCKS = 250;
    const auto report = [this](int nThread) {
        for (int n = 0; n < BLOCKS; ++n) {
            // One URL in three is asked for again and again.
            const std::string url =
                n % 3 == 0 ? "same.example" : "t" + std::to_string(nThread) + "/" + std::to_string(n);
            ReportRecordBlock block = BlockRecord(url.c_str());
            ClientReportRecord client = ClientRecord(url.c_str());
            if (g_pfnInsertClientReportData(REPORT_BLOCK, &block, nullptr) != 1) _exit(1);
            if (m_pfnClient(REPORT_CLIENT, &client, nullptr) != 1) _exit(2);
        }
    };
    const auto reportAndEnd = [&report] {
        std::vector<std::thread> threads;
        for (int nThread = 0; nThread < THREADS; ++nThread)
            threads.emplace_back(report, nThread);
        for (std::thread& thread : threads)
            thread.join();
        std::exit(0);
    };
    size_t nWhole = 0;
    for (int nTry = 0; nTry < 3 && nWhole != THREADS * BLOCKS; ++nTry) {
        std::filesystem::remove_all(m_folder.Path("own"));
        CreateStore();
        CloseStore(&m_store);
        EXPECT_EXIT(reportAndEnd(), testing::ExitedWithCode(0), "");
        CreateStore();
        nWhole = 0;
        const auto rows = AllRows(&m_store);
        EXPECT_LE(rows.size(), size_t{THREADS * BLOCKS});
        for (const StoredRow& row : rows)
            nWhole += row.nParts == REPORT_PARTS_ALL;
        CloseStore(&m_store);
    }
    EXPECT_EQ(nWhole, size_t{THREADS * BLOCKS});
}
}  // namespace
