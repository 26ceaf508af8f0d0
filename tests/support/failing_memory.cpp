// To be preloaded (LD_PRELOAD) into the daemon: lets chosen requests for memory fail, those of the C library,
// the loader and other libraries included. A thread that is to be made counts as one, too. Programs that the
// daemon runs keep their memory. The first name that is resolved and the first text that is translated are
// spared: of the requests that the C library (2.36) makes then to set itself up, some end the process when
// they fail, and one leaves a lock held for ever.
#include "tests/support/failing_memory.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

extern "C" {
void* __libc_malloc(size_t nBytes);
void* __libc_calloc(size_t nCount, size_t nBytes);
void* __libc_realloc(void* pOld, size_t nBytes);
void* __libc_memalign(size_t nAlignment, size_t nBytes);
}

namespace {
using CreateThreadFn = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
using TranslateFn = char* (*)(const char*, const char*);
using ResolveFn = int (*)(const char*, const char*, const addrinfo*, addrinfo**);

constexpr char PROGRAM[] = "websec";

tagFailingMemory* g_pFaults = nullptr;
CreateThreadFn g_pfnCreateThread = nullptr;
ResolveFn g_pfnResolve = nullptr;
TranslateFn g_pfnTranslate = nullptr;
std::atomic<bool> g_bResolved = false, g_bTranslated = false;
thread_local bool t_bSpared = false;

void* SystemMap(void* pAt, size_t nBytes, int nProtection, int nFlags, int fd, off_t nOffset) {
    return reinterpret_cast<void*>(syscall(SYS_mmap, pAt, nBytes, nProtection, nFlags, fd, nOffset));
}

// Early, but behind the loader's own requests, which no program survives.
__attribute__((constructor)) void FindFaults() {
    g_pfnCreateThread = reinterpret_cast<CreateThreadFn>(dlsym(RTLD_NEXT, "pthread_create"));
    g_pfnResolve = reinterpret_cast<ResolveFn>(dlsym(RTLD_NEXT, "getaddrinfo"));
    g_pfnTranslate = reinterpret_cast<TranslateFn>(dlsym(RTLD_NEXT, "dgettext"));
    const char* szFile = getenv("FAILING_MEMORY_FILE");
    if (!szFile || strcmp(program_invocation_short_name, PROGRAM) != 0) return;
    const int fd = open(szFile, O_RDWR | O_CLOEXEC);
    if (fd < 0) return;
    void* pPage = SystemMap(nullptr, sizeof(tagFailingMemory), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (pPage != MAP_FAILED) g_pFaults = static_cast<tagFailingMemory*>(pPage);
}

bool Fails() {
    if (!g_pFaults || t_bSpared) return false;
    const uint64_t nRequest = ++g_pFaults->nAsked;
    if (nRequest < g_pFaults->nFirst || nRequest > g_pFaults->nLast) return false;
    errno = ENOMEM;
    return true;
}
}  // namespace

extern "C" {
void* malloc(size_t nBytes) {
    return Fails() ? nullptr : __libc_malloc(nBytes);
}

void* calloc(size_t nCount, size_t nBytes) {
    return Fails() ? nullptr : __libc_calloc(nCount, nBytes);
}

void* realloc(void* pOld, size_t nBytes) {
    return Fails() ? nullptr : __libc_realloc(pOld, nBytes);
}

void* aligned_alloc(size_t nAlignment, size_t nBytes) {
    return Fails() ? nullptr : __libc_memalign(nAlignment, nBytes);
}

int posix_memalign(void** ppMemory, size_t nAlignment, size_t nBytes) {
    void* pMemory = aligned_alloc(nAlignment, nBytes);
    if (!pMemory) return ENOMEM;
    *ppMemory = pMemory;
    return 0;
}

void* mmap(void* pAt, size_t nBytes, int nProtection, int nFlags, int fd, off_t nOffset) {
    return Fails() ? MAP_FAILED : SystemMap(pAt, nBytes, nProtection, nFlags, fd, nOffset);
}

void* mmap64(void* pAt, size_t nBytes, int nProtection, int nFlags, int fd, off_t nOffset) {
    return mmap(pAt, nBytes, nProtection, nFlags, fd, nOffset);
}

int pthread_create(pthread_t* pThread, const pthread_attr_t* pAttributes, void* (*pfnStart)(void*),
                   void* pArgument) {
    return Fails() ? EAGAIN : g_pfnCreateThread(pThread, pAttributes, pfnStart, pArgument);
}

int getaddrinfo(const char* szName, const char* szService, const addrinfo* pHints, addrinfo** ppAnswer) {
    t_bSpared = !g_bResolved.exchange(true);
    const int nResult = g_pfnResolve(szName, szService, pHints, ppAnswer);
    t_bSpared = false;
    return nResult;
}

char* dgettext(const char* szDomain, const char* szKey) {
    t_bSpared = !g_bTranslated.exchange(true);
    char* szText = g_pfnTranslate(szDomain, szKey);
    t_bSpared = false;
    return szText;
}
}
