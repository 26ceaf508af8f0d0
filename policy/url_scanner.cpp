#include "policy/url_scanner.h"

#include <dlfcn.h>

#include <cstring>
#include <string_view>

#include "category/translate.h"
#include "common/copy_text.h"
#include "common/library_file.h"
#include "common/product_paths.h"
#include "policy/policy_state.h"

uint8_t g_bURLScannerLoaded = 0;
InitURLScanFn g_pfnInitURLScan = nullptr;
DeinitURLScanFn g_pfnDeinitURLScan = nullptr;
ScanURLForAPSHFn g_pfnScanURLForAPSH = nullptr;
ScanURLForBPFn g_pfnScanURLForBP = nullptr;

namespace {

void* g_hURLScanner = nullptr;

bool ResolveSymbols();
template <class Fn>
bool ResolveSymbol(const char* szName, Fn& pfn);
void CloseScanner();
void ScanForHarm(tagWebRequest& request);

}  // namespace

void LoadURLScanner() {
    LoadURLScannerFrom(URL_SCANNER_FILE);
}

void LoadURLScannerFrom(const char* szPath) {
    if (g_bURLScannerLoaded != 0 || !IsWholeLibrary(szPath)) return;
    g_hURLScanner = dlopen(szPath, RTLD_NOW);
    if (!g_hURLScanner) return;
    if (ResolveSymbols() && g_pfnInitURLScan() != 0) {
        g_bURLScannerLoaded = 1;
    } else {
        CloseScanner();
    }
}

int UnloadURLScanner() {
    if (g_bURLScannerLoaded != 1) return 1;
    if (g_pfnDeinitURLScan() != 1) return 0;
    g_bURLScannerLoaded = 0;
    CloseScanner();
    return 1;
}

int ScanURL(tagWebRequest* pRequest) {
    if (g_bURLScannerLoaded != 1) return -1;
    if (g_bPhishingProtection == 1 && g_pfnScanURLForAPSH(pRequest->szCheckURL) == 1) {
        pRequest->nResult = RESULT_FRAUDULENT;
        WidenText(pRequest->wszReportText, TranslateText("ws_rpt_fradulanturl"));
        return 0;
    }
    if (g_bBrowsingProtection == 1) ScanForHarm(*pRequest);
    return 0;
}

namespace {

bool ResolveSymbols() {
    return ResolveSymbol("InitURLScan", g_pfnInitURLScan) &&
           ResolveSymbol("DeinitURLScan", g_pfnDeinitURLScan) &&
           ResolveSymbol("ScanURLForAPSH", g_pfnScanURLForAPSH) &&
           ResolveSymbol("ScanURLForBP", g_pfnScanURLForBP);
}

template <class Fn>
bool ResolveSymbol(const char* szName, Fn& pfn) {
    pfn = reinterpret_cast<Fn>(dlsym(g_hURLScanner, szName));
    return pfn != nullptr;
}

void CloseScanner() {
    dlclose(g_hURLScanner);
    g_hURLScanner = nullptr;
    g_pfnInitURLScan = nullptr;
    g_pfnDeinitURLScan = nullptr;
    g_pfnScanURLForAPSH = nullptr;
    g_pfnScanURLForBP = nullptr;
}

void ScanForHarm(tagWebRequest& request) {
    // Larger than the 256 bytes that the plug-in may use, so that a careless one harms nobody.
    char szThreat[1024] = {};
    if (g_pfnScanURLForBP(request.szCheckURL, szThreat) != 1) return;
    request.nResult = RESULT_HARMFUL;
    WidenText(request.wszReportText, TranslateText("ws_rpt_harmfulurl"));
    CopyText(request.szThreatName, std::string_view(szThreat, strnlen(szThreat, sizeof szThreat)));
}

}  // namespace
