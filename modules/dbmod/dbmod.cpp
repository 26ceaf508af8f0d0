// libdbmod.so: where the daemon gets its settings from and where it puts the typed reports. The daemon loads
// it at run time and knows it by these symbols. Any thread may call them, several at once, also one that
// may be cancelled. Nothing is printed: the standard descriptors may belong to something else.
#include <pthread.h>

#include "category/category_mode.h"
#include "common/export.h"
#include "modules/shared_writer/report_writer.h"
#include "modules/store/store.h"
#include "modules/store/store_settings.h"
#include "policy/client_settings.h"
#include "report/report_records.h"

// Whoever loads this module without being the daemon need not tell a mode.
extern "C" __attribute__((weak)) uint8_t g_bUseCatServer;

namespace {
constinit tagReportWriter g_Writer;

bool GiveSettings(tagClientSettingData* pSettings, TakeListSettingFn pfnTake, void* pContext,
                  uint32_t* pStatus);
int ReadStore(tagClientSettingData* pSettings, TakeListSettingFn pfnTake, void* pContext);
bool IsDiskRefusing(int nResult);

// At dlclose, or at the end of the process.
__attribute__((destructor)) void StopModule() {
    StopReportWriter(&g_Writer, REPORT_STOP_MS);
}
}  // namespace

extern "C" {

// Fills an empty record from the store. True when that succeeded; else the record may be partly filled, and
// is the caller's to release either way. *pStatus, when given, becomes a STORE_* code.
WEBSEC_API bool AvGetClientAllSettingData(tagClientSettingData* pSettings, uint32_t* pStatus) {
    return pSettings && GiveSettings(pSettings, TakeIntoSettings, pSettings, pStatus);
}

// The same, but the entries of the lists go to pfnTake (policy/client_settings.h).
WEBSEC_API bool AvWalkClientSettingData(tagClientSettingData* pSettings, TakeListSettingFn pfnTake,
                                        void* pContext, uint32_t* pStatus) {
    return pSettings && pfnTake && GiveSettings(pSettings, pfnTake, pContext, pStatus);
}

// Takes a copy of a report of type 1, 5 or 6 and answers at once: 1 when it was taken, 0 when not. *pStatus,
// when given, becomes 0 when it was taken, else 1.
WEBSEC_API int AvInsertClientReportData(int nType, const void* pRecord, uint32_t* pStatus) {
    const int bTaken = nType != REPORT_CLIENT && QueueReport(&g_Writer, nType, pRecord);
    if (pStatus) *pStatus = !bTaken;
    return bTaken;
}
}

namespace {
bool GiveSettings(tagClientSettingData* pSettings, TakeListSettingFn pfnTake, void* pContext,
                  uint32_t* pStatus) {
    int nCancelState = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &nCancelState);
    const int nResult = ReadStore(pSettings, pfnTake, pContext);
    pthread_setcancelstate(nCancelState, nullptr);
    if (pStatus) *pStatus = static_cast<uint32_t>(nResult);
    return nResult == STORE_OK;
}

// Opened for this call alone: a store that was replaced meanwhile is the one that counts.
int ReadStore(tagClientSettingData* pSettings, TakeListSettingFn pfnTake, void* pContext) {
    const uint8_t nMode = &g_bUseCatServer ? g_bUseCatServer : uint8_t{CATENGINE_LIBRARY};
    tagStore store;
    int nResult = OpenStore(&store, STORE_OPEN_EXISTING, STORE_BUSY_MS_SETTINGS);
    // When that fails, too, the first answer says why.
    if (IsDiskRefusing(nResult) && OpenStore(&store, STORE_READ_STILL, STORE_BUSY_MS_SETTINGS) == STORE_OK) {
        nResult = STORE_OK;
    }
    if (nResult == STORE_OK) nResult = FillClientSettings(&store, nMode, pSettings, pfnTake, pContext);
    CloseStore(&store);
    return nResult;
}

// SQLite wants to make files beside the database; a disk that is full or read-only must not cost the
// protection. One that it cannot make looks like a database that is missing.
bool IsDiskRefusing(int nResult) {
    return nResult == STORE_FULL || nResult == STORE_DENIED || nResult == STORE_FAILED ||
           nResult == STORE_MISSING;
}
}  // namespace
