// A reputation scanner for tests, controlled through g_ScannerScript. Built several times: whole, and with a
// fault chosen by a definition.
#include "tests/unit/policy/scanner_plugin.h"

#include <cstring>

extern "C" {

WEBSEC_API tagScannerScript g_ScannerScript = {1, 0, 0, 0, 0, {}};

WEBSEC_API int InitURLScan() {
#ifdef SCANNER_INIT_FAILS
    return 0;
#else
    return 5;
#endif
}

WEBSEC_API int DeinitURLScan() {
    return g_ScannerScript.nDeinit;
}

WEBSEC_API int ScanURLForAPSH(const char*) {
    ++g_ScannerScript.nPhishingScans;
    return g_ScannerScript.nPhishing;
}

#ifndef SCANNER_LACKS_SYMBOL
WEBSEC_API int ScanURLForBP(const char*, char* szThreat) {
    ++g_ScannerScript.nHarmScans;
    std::memcpy(szThreat, g_ScannerScript.szThreat, sizeof g_ScannerScript.szThreat);
    return g_ScannerScript.nHarm;
}
#endif
}
