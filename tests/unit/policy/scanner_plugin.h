// What the scanner plug-in for tests does and has been asked for; it exports one as g_ScannerScript.
#pragma once

#include "common/export.h"

struct tagScannerScript {
    int nDeinit;  // results of its operations
    int nPhishing;
    int nHarm;
    int nPhishingScans;  // calls so far
    int nHarmScans;
    char szThreat[256];  // written whatever nHarm is
};
