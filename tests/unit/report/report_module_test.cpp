#include "report/report_module.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

namespace {

class ReportModule : public testing::Test {
  protected:
    ~ReportModule() override { UnloadReportModule(); }

    static std::string Sample(const char* szName) {
        return std::string(SAMPLE_DIR "report_module_") + szName + ".so";
    }
    static bool IsOpen(const std::string& szPath) {
        void* pModule = dlopen(szPath.c_str(), RTLD_LAZY | RTLD_NOLOAD);
        if (pModule) dlclose(pModule);
        return pModule != nullptr;
    }
    static void ExpectZeroState() {
        EXPECT_EQ(g_bReportModuleLoaded, 0);
        EXPECT_EQ(g_pfnInsertClientReportData, nullptr);
        EXPECT_EQ(g_pfnGetClientAllSettingData, nullptr);
    }
};

TEST_F(ReportModule, LoadsOnceAndUnloadsToTheZeroState) {
    const std::string szWhole = Sample("whole");
    UnloadReportModule();
    LoadReportModuleFrom(szWhole.c_str());
    LoadReportModuleFrom(szWhole.c_str());
    ASSERT_EQ(g_bReportModuleLoaded, 1);
    uint32_t nStatus = 0;
    EXPECT_EQ(g_pfnInsertClientReportData(6, nullptr, &nStatus), 106);
    tagClientSettingData settings{};
    EXPECT_TRUE(g_pfnGetClientAllSettingData(&settings, &nStatus));
    EXPECT_EQ(settings.nReportBlocked, 1u);

    UnloadReportModule();
    ExpectZeroState();
    EXPECT_FALSE(IsOpen(szWhole)) << "the second load must not have opened it again";
    UnloadReportModule();
}

TEST_F(ReportModule, StaysOffAndClosedWithoutBothSymbols) {
    for (const char* szName : {"without_insert", "without_settings", "missing"}) {
        LoadReportModuleFrom(Sample(szName).c_str());
        ExpectZeroState();
        EXPECT_FALSE(IsOpen(Sample(szName))) << szName;
    }
}

}  // namespace
