// Stands in the place of libwebcat.so. It notes a line in LAB_DIR/engine.calls for each
// start, refresh and stop; the steps that LAB_DIR/engine.refusals names fail.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "category/webcat_library.h"

namespace {
void LabPath(char (&szPath)[256], const char* szName) {
    std::snprintf(szPath, sizeof szPath, "%s/%s", std::getenv("LAB_DIR"), szName);
}

// Whether that step is to succeed.
bool Note(const char* szStep) {
    char szPath[256], szRefused[256] = "";
    LabPath(szPath, "engine.calls");
    if (FILE* pCalls = fopen(szPath, "ae")) {
        std::fprintf(pCalls, "%s ", szStep);
        fclose(pCalls);
    }
    LabPath(szPath, "engine.refusals");
    FILE* pRefusals = fopen(szPath, "re");
    if (!pRefusals) return true;
    (void)!std::fgets(szRefused, sizeof szRefused, pRefusals);
    fclose(pRefusals);
    return !std::strstr(szRefused, szStep);
}
}  // namespace

int WCInit() {
    return Note("WCInit") ? 0 : -1;
}
int WCDeinit() {
    return Note("WCDeinit") ? 0 : -1;
}
int PerformCacheRefresh() {
    return Note("PerformCacheRefresh") ? 0 : -1;
}
int WCGetURLCategories(const char*, const char*, unsigned short*, unsigned short*) {
    return -1;
}
int WCGetKVURLCategories(const char*, const char*, unsigned short*, unsigned short*) {
    return -1;
}
int ConvertFromRealToLogical(unsigned short nReal, unsigned short* pLogical) {
    *pLogical = nReal;
    return 0;
}
