// A report module that, unlike the product's own, leaves nothing behind when it is closed.
#include "common/export.h"

extern "C" {
WEBSEC_API void AvInsertClientReportData() {}
WEBSEC_API void AvGetClientAllSettingData() {}
}
