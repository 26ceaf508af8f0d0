#include "report/report_module.h"

#include <dlfcn.h>

#include "common/library_file.h"
#include "common/product_paths.h"

uint8_t g_bReportModuleLoaded = 0;
AvInsertClientReportDataFn g_pfnInsertClientReportData = nullptr;
AvGetClientAllSettingDataFn g_pfnGetClientAllSettingData = nullptr;
AvWalkClientSettingDataFn g_pfnWalkClientSettingData = nullptr;

namespace {

void* g_pReportModule = nullptr;  // null unless loaded

}  // namespace

void LoadReportModule() {
    LoadReportModuleFrom(REPORT_MODULE_FILE);
}

void LoadReportModuleFrom(const char* szPath) {
    if (g_bReportModuleLoaded != 0 || !IsWholeLibrary(szPath)) return;
    void* pModule = dlopen(szPath, RTLD_LAZY);
    if (!pModule) return;
    void* pInsert = dlsym(pModule, "AvInsertClientReportData");
    void* pSettings = pInsert ? dlsym(pModule, "AvGetClientAllSettingData") : nullptr;
    if (!pSettings) {
        dlclose(pModule);
        return;
    }
    g_pReportModule = pModule;
    g_pfnInsertClientReportData = reinterpret_cast<AvInsertClientReportDataFn>(pInsert);
    g_pfnGetClientAllSettingData = reinterpret_cast<AvGetClientAllSettingDataFn>(pSettings);
    g_pfnWalkClientSettingData =
        reinterpret_cast<AvWalkClientSettingDataFn>(dlsym(pModule, "AvWalkClientSettingData"));
    g_bReportModuleLoaded = 1;
}

void UnloadReportModule() {
    if (g_bReportModuleLoaded != 1) return;
    void* pModule = g_pReportModule;
    g_bReportModuleLoaded = 0;
    g_pfnInsertClientReportData = nullptr;
    g_pfnGetClientAllSettingData = nullptr;
    g_pfnWalkClientSettingData = nullptr;
    g_pReportModule = nullptr;
    dlclose(pModule);
}
