#include "common/traffic_counters.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>

namespace {
tagTrafficCounters g_OwnCounters;

void* MapNewPage(const char* szFile);
}  // namespace

tagTrafficCounters* g_pTrafficCounters = &g_OwnCounters;

int ShareTrafficCounters(const char* szFile) {
    void* pPage = MapNewPage(szFile);
    if (pPage == MAP_FAILED) return errno;
    auto* pCounters = new (pPage) tagTrafficCounters{};
    pCounters->nCounters = COUNTERS;
    pCounters->nPid = getpid();
    for (size_t i = 0; i < COUNTERS; ++i)
        pCounters->counts[i] = g_pTrafficCounters->counts[i].load(std::memory_order_relaxed);
    std::memcpy(pCounters->szMagic, TRAFFIC_PAGE_MAGIC, sizeof TRAFFIC_PAGE_MAGIC);
    g_pTrafficCounters = pCounters;
    return 0;
}

namespace {
// MAP_FAILED, with errno set, when there is no page.
void* MapNewPage(const char* szFile) {
    if (unlink(szFile) != 0 && errno != ENOENT) return MAP_FAILED;
    const int fd = open(szFile, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd < 0) return MAP_FAILED;
    // The blocks are taken now: a page that finds no room later would end the process.
    const int nError = posix_fallocate(fd, 0, TRAFFIC_PAGE_BYTES);
    void* pPage = MAP_FAILED;
    if (nError == 0) {
        pPage = mmap(nullptr, TRAFFIC_PAGE_BYTES, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    } else {
        errno = nError;
    }
    const int nKept = errno;
    close(fd);
    if (pPage == MAP_FAILED) unlink(szFile);
    errno = nKept;
    return pPage;
}
}  // namespace
