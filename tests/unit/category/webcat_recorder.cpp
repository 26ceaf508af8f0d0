#include "tests/unit/category/webcat_recorder.h"

#include "category/webcat_library.h"

tagWebcatRecorder g_Webcat;

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

int WCGetURLCategories(const char*, const char*, unsigned short*, unsigned short*) {
    return 1;
}

int WCGetKVURLCategories(const char*, const char*, unsigned short*, unsigned short*) {
    return 1;
}

int ConvertFromRealToLogical(unsigned short nReal, unsigned short* pLogical) {
    g_Webcat.nReal = nReal;
    *pLogical = static_cast<unsigned short>(nReal + 1);
    return 1;
}
