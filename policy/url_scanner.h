// The binding of urlcheck.so, the plug-in that tells phishing and harmful sites: loading, unloading, and the
// scan of one request. The daemon knows the plug-in only by the four symbols below.
//
// Loaded and unloaded on the main thread with all workers kept out; in between the globals are only read.
#pragma once

#include <cstdint>

#include "inspect/web_request.h"

using InitURLScanFn = int (*)();                // non-zero: ready
using DeinitURLScanFn = int (*)();              // 1: shut down
using ScanURLForAPSHFn = int (*)(const char*);  // URL without scheme; 1: phishing. Any number of threads
// URL without scheme; 1: harmful, the 256-byte buffer then holds the threat's name. Any number of threads.
using ScanURLForBPFn = int (*)(const char*, char*);

extern uint8_t g_bURLScannerLoaded;  // 1: open, all symbols resolved, initialised
extern InitURLScanFn g_pfnInitURLScan;
extern DeinitURLScanFn g_pfnDeinitURLScan;
extern ScanURLForAPSHFn g_pfnScanURLForAPSH;
extern ScanURLForBPFn g_pfnScanURLForBP;

// Opens the product's plug-in, resolves its symbols and initialises it. On any failure it is closed again and
// the facility stays off. Does nothing while loaded.
void LoadURLScanner();

// The same for a plug-in at another place.
void LoadURLScannerFrom(const char* szPath);

// 1 when the plug-in is now not loaded; 0 when it refused to shut down and stays in use.
int UnloadURLScanner();

// Asks for a phishing site when that protection is on, then, unless it is one, for a harmful site when that
// protection is on. A hit sets nResult to RESULT_FRAUDULENT or RESULT_HARMFUL with the translated
// wszReportText, for a harmful site also szThreatName. Returns 0, or -1 (nothing tested) while the plug-in is
// not loaded. Any worker, inside its own lock.
int ScanURL(tagWebRequest* pRequest);
