// To be preloaded (LD_PRELOAD), or put in the place of urlcheck.so or libdbmod.so with the real one beside it
// as FILE.real: calls of the daemon's modules that do not return. The file named by HANGING_CALLS_FILE tells
// the call, how many of them hang, and how: "sleeps", where the thread can be cancelled, or "locked", where
// not. They hang for as long as the file says so.
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

struct tagOrder {
    char szCall[64];
    int nCalls;
    char szHow[16];
};

std::atomic<int> s_nHanging{0};

// Cannot be cancelled.
bool ReadOrder(tagOrder& order) {
    const char* szFile = getenv("HANGING_CALLS_FILE");
    const long fd = szFile ? syscall(SYS_openat, AT_FDCWD, szFile, O_RDONLY | O_CLOEXEC) : -1;
    if (fd < 0) return false;
    char szText[128] = {};
    const long nRead = syscall(SYS_read, fd, szText, sizeof szText - 1);
    syscall(SYS_close, fd);
    return nRead > 0 && sscanf(szText, "%63s %d %15s", order.szCall, &order.nCalls, order.szHow) == 3;
}

bool Concerns(const tagOrder& order, const char* szCall) {
    return strcmp(order.szCall, szCall) == 0;
}

void HangIfTold(const char* szCall) {
    tagOrder order = {};
    if (!ReadOrder(order) || !Concerns(order, szCall)) return;
    if (++s_nHanging > order.nCalls) {
        --s_nHanging;
        return;
    }
    const timespec pause = {0, 20'000'000};
    while (ReadOrder(order) && Concerns(order, szCall)) {
        if (strcmp(order.szHow, "sleeps") == 0) {
            nanosleep(&pause, nullptr);
        } else {
            syscall(SYS_nanosleep, &pause, nullptr);
        }
    }
    --s_nHanging;
}

// What this library stands before: the next one of the process, or the real module.
void* Next(const char* szCall) {
    if (void* pNext = dlsym(RTLD_NEXT, szCall)) return pNext;
    Dl_info self = {};
    char szReal[512];
    dladdr(&s_nHanging, &self);
    snprintf(szReal, sizeof szReal, "%s.real", self.dli_fname);
    void* pReal = dlopen(szReal, RTLD_NOW);
    return pReal ? dlsym(pReal, szCall) : nullptr;
}

template <class Result, class... Arguments>
Result Call(const char* szCall, Arguments... arguments) {
    HangIfTold(szCall);
    const auto pfnNext = reinterpret_cast<Result (*)(Arguments...)>(Next(szCall));
    return pfnNext ? pfnNext(arguments...) : Result{};
}

}  // namespace

extern "C" {

bool CalculateCheckSum(int fd, uint32_t* pChecksum) {
    return Call<bool>("CalculateCheckSum", fd, pChecksum);
}
int WCInit() {
    return Call<int>("WCInit");
}
int WCDeinit() {
    return Call<int>("WCDeinit");
}
int InitURLScan() {
    return Call<int>("InitURLScan");
}
int DeinitURLScan() {
    return Call<int>("DeinitURLScan");
}
int ScanURLForAPSH(const char* szURL) {
    return Call<int>("ScanURLForAPSH", szURL);
}
int ScanURLForBP(const char* szURL, char* szThreat) {
    return Call<int>("ScanURLForBP", szURL, szThreat);
}
int WCGetURLCategories(const char* szHost, const char* szURL, unsigned short* pCategories,
                       unsigned short* pCount) {
    return Call<int>("WCGetURLCategories", szHost, szURL, pCategories, pCount);
}
bool AvGetClientAllSettingData(void* pSettings, uint32_t* pStatus) {
    return Call<bool>("AvGetClientAllSettingData", pSettings, pStatus);
}
uint8_t AvWalkClientSettingData(void* pSettings, void* pfnTake, void* pContext, uint32_t* pReserved) {
    return Call<uint8_t>("AvWalkClientSettingData", pSettings, pfnTake, pContext, pReserved);
}
int AvInsertClientReportData(int nType, const void* pRecord, uint32_t* pStatus) {
    return Call<int>("AvInsertClientReportData", nType, pRecord, pStatus);
}
uint8_t InsertClientReportData(uint32_t nType, const void* pRecord, uint32_t* pStatus) {
    return Call<uint8_t>("InsertClientReportData", nType, pRecord, pStatus);
}
}
