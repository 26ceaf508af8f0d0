// clrptmod.so: where the daemon, which links it by name, puts the client record of every reported block. Any
// thread may call it, several at once, also one that may be cancelled. Nothing is printed.
#include <cstdint>

#include "common/export.h"
#include "modules/shared_writer/report_writer.h"
#include "report/report_records.h"

namespace {
constinit tagReportWriter g_Writer;

// At the end of the process.
__attribute__((destructor)) void StopModule() {
    StopReportWriter(&g_Writer, REPORT_STOP_MS);
}
}  // namespace

// Takes a copy of a report of type 3 and answers at once: 1 when it was taken, 0 when not. *pStatus, when
// given, becomes 0 when it was taken, else 1.
extern "C" WEBSEC_API uint8_t InsertClientReportData(uint32_t nType, const void* pRecord, uint32_t* pStatus) {
    const int bTaken = nType == REPORT_CLIENT && QueueReport(&g_Writer, REPORT_CLIENT, pRecord);
    if (pStatus) *pStatus = !bTaken;
    return static_cast<uint8_t>(bTaken);
}
