// A reputation scanner that must not be used, built once for each reason.
#include "common/export.h"

extern "C" {

WEBSEC_API int InitURLScan() {
#ifdef SCANNER_INIT_FAILS
    return 0;
#else
    return 5;
#endif
}
WEBSEC_API int DeinitURLScan() {
    return 1;
}
WEBSEC_API int ScanURLForAPSH(const char*) {
    return 0;
}
#ifndef SCANNER_LACKS_SYMBOL
WEBSEC_API int ScanURLForBP(const char*, char*) {
    return 0;
}
#endif
}
