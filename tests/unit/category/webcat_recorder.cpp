#include "tests/unit/category/webcat_recorder.h"

#include <algorithm>

#include "category/webcat_library.h"

tagWebcatRecorder g_Webcat;

namespace {

int LookUp(const char* szCall, const char* szHost, const char* szURL, unsigned short* pCategories,
           unsigned short* pCount) {
    g_Webcat.szCalls += szCall;
    g_Webcat.szHost = szHost;
    g_Webcat.szURL = szURL;
    std::copy(g_Webcat.ids.begin(), g_Webcat.ids.end(), pCategories);
    *pCount = static_cast<unsigned short>(g_Webcat.ids.size());
    return g_Webcat.nLookupResult;
}

}  // namespace

int WCInit() {
    g_Webcat.szCalls += "WCInit ";
    return g_Webcat.nInitResult;
}

int WCDeinit() {
    g_Webcat.szCalls += "WCDeinit ";
    return 1;
}

int PerformCacheRefresh() {
    g_Webcat.szCalls += "PerformCacheRefresh ";
    return 1;
}

int WCGetURLCategories(const char* szHost, const char* szURL, unsigned short* pCategories,
                       unsigned short* pCount) {
    return LookUp("WCGetURLCategories ", szHost, szURL, pCategories, pCount);
}

int WCGetKVURLCategories(const char* szHost, const char* szURL, unsigned short* pCategories,
                         unsigned short* pCount) {
    return LookUp("WCGetKVURLCategories ", szHost, szURL, pCategories, pCount);
}

int ConvertFromRealToLogical(unsigned short nReal, unsigned short* pLogical) {
    g_Webcat.nReal = nReal;
    *pLogical = static_cast<unsigned short>(nReal + 1);
    return 1;
}
