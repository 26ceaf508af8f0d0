#include "report/report_time.h"

#include <time.h>

// The declaration has the callers' formats checked; here there is none to check.
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
char* FormatReportTime(char* szBuffer, uint32_t nSize, const char* szFormat) {
    const time_t nNow = time(nullptr);
    tm local;
    if (!localtime_r(&nNow, &local)) return nullptr;
    return strftime(szBuffer, nSize, szFormat, &local) == 0 ? nullptr : szBuffer;
}
