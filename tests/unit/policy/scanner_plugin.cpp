// A reputation scanner that does not start.
#include "common/export.h"

extern "C" {
WEBSEC_API int InitURLScan() {
    return 0;
}
WEBSEC_API void DeinitURLScan() {}
WEBSEC_API void ScanURLForAPSH() {}
WEBSEC_API void ScanURLForBP() {}
}
