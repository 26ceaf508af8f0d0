#include "ctl/settings_check.h"

#include <string>

#include "common/product_paths.h"
#include "ctl/module_call.h"
#include "ctl/output.h"
#include "ctl/settings_store.h"
#include "policy/client_settings.h"
#include "report/report_module.h"

namespace {

bool ModuleGivesSettings();

}  // namespace

void RefuseUnreadableSettings() {
    LoadSettingsModule();
    if (!ModuleGivesSettings()) ThrowNoSettings();
}

void LoadSettingsModule() {
    const ModuleCall call(REPORT_MODULE_FILE, "loading", MODULE_LOAD_SECONDS);
    LoadReportModule();
    if (!g_bReportModuleLoaded) {
        throw CtlError(std::string("cannot load ") + REPORT_MODULE_FILE + ": websec can read no settings");
    }
    LimitCalls<g_pfnGetClientAllSettingData>(g_pfnGetClientAllSettingData, REPORT_MODULE_FILE,
                                             "AvGetClientAllSettingData");
    if (!g_pfnWalkClientSettingData) return;
    LimitCalls<g_pfnWalkClientSettingData>(g_pfnWalkClientSettingData, REPORT_MODULE_FILE,
                                           "AvWalkClientSettingData");
}

// The module does not say why; the store does, if it is the one behind it.
void ThrowNoSettings() {
    SettingsStore store(STORE_OPEN_EXISTING);
    throw CtlError(std::string(REPORT_MODULE_FILE) + " gives no settings");
}

namespace {

bool ModuleGivesSettings() {
    tagClientSettingData settings = {};
    uint32_t nReserved = 0;
    const auto skip = [](uint8_t, const char16_t*, uint32_t, void*) { return true; };
    const bool bGiven =
        (g_pfnWalkClientSettingData ? g_pfnWalkClientSettingData(&settings, skip, nullptr, &nReserved)
                                    : g_pfnGetClientAllSettingData(&settings, &nReserved)) != 0;
    ReleaseSettings(settings);
    return bGiven;
}

}  // namespace
