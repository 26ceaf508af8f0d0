// A report module that answers what it was asked, so that a test sees which function it has reached.
#include <cstdint>

#include "common/export.h"
#include "policy/client_settings.h"

#ifndef WITHOUT_INSERT
extern "C" WEBSEC_API int AvInsertClientReportData(int nType, void*, uint32_t*) {
    return nType + 100;
}
#endif

#ifndef WITHOUT_SETTINGS
extern "C" WEBSEC_API bool AvGetClientAllSettingData(tagClientSettingData* pSettings, uint32_t*) {
    pSettings->nReportBlocked = 1;
    return true;
}
#endif
