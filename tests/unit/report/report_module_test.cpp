// The binding; what the product's module answers is seen in tests of its own.
#include "report/report_module.h"

#include "tests/support/library_without.h"

namespace {

void ExpectZeroState() {
    EXPECT_EQ(g_bReportModuleLoaded, 0);
    EXPECT_EQ(g_pfnInsertClientReportData, nullptr);
    EXPECT_EQ(g_pfnGetClientAllSettingData, nullptr);
}

TEST(ReportModule, LoadsOnceAndUnloadsToTheZeroState) {
    UnloadReportModule();
    LoadReportModuleFrom(SAMPLE_FILE);
    LoadReportModuleFrom(SAMPLE_FILE);
    ASSERT_EQ(g_bReportModuleLoaded, 1);
    UnloadReportModule();
    ExpectZeroState();
    EXPECT_FALSE(IsLibraryOpen(SAMPLE_FILE)) << "the second load must not have opened it again";
    UnloadReportModule();
}

TEST(ReportModule, StaysOffAndClosedWithoutBothSymbols) {
    const TempFolder folder;
    for (const char* szSymbol : {"AvInsertClientReportData", "AvGetClientAllSettingData"}) {
        const std::string path = PutLibraryWithout(folder, SAMPLE_FILE, szSymbol);
        LoadReportModuleFrom(path.c_str());
        ExpectZeroState();
        EXPECT_FALSE(IsLibraryOpen(path)) << szSymbol;
    }
    LoadReportModuleFrom(folder.Path("missing.so").c_str());
    ExpectZeroState();
}

}  // namespace
