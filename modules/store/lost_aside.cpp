#include "modules/store/lost_aside.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "modules/store/store_reports.h"

namespace {
constexpr int LOCK_TRIES = 50;
constexpr useconds_t LOCK_TRY_US = 4000;

int OpenAside(const char* szStore, int nFlags);
int64_t SizeOf(int fd);
int MoveIntoStore(tagStore* pStore, int fd);
}  // namespace

int AddLostAside(int64_t nLost) {
    const int fd = OpenAside(StorePath(), O_WRONLY | O_CREAT);
    if (fd == -1) return 1;
    const int nResult = ftruncate(fd, SizeOf(fd) + nLost);
    close(fd);
    return nResult == 0 ? 0 : 1;
}

int64_t ReadLostAside(const tagStore* pStore) {
    const int fd = OpenAside(pStore->szPath, O_RDONLY);
    if (fd == -1) return 0;
    const int64_t nLost = SizeOf(fd);
    close(fd);
    return nLost;
}

int TakeLostAside(tagStore* pStore) {
    const int fd = OpenAside(pStore->szPath, O_RDWR);
    if (fd == -1) return STORE_OK;
    const int nResult = MoveIntoStore(pStore, fd);
    close(fd);
    return nResult;
}

namespace {
// Locked until closed, since two modules may come here at once. -1 when it is not there, cannot be opened, or
// stays locked by the other one: a stop must not wait for it.
int OpenAside(const char* szStore, int nFlags) {
    char szAside[sizeof tagStore::szPath + 8];
    std::snprintf(szAside, sizeof szAside, "%s-lost", szStore);
    const int fd = open(szAside, nFlags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
    if (fd == -1) return -1;
    for (int nTry = 0; nTry < LOCK_TRIES; ++nTry) {
        if (flock(fd, LOCK_EX | LOCK_NB) == 0) return fd;
        usleep(LOCK_TRY_US);
    }
    close(fd);
    return -1;
}

int64_t SizeOf(int fd) {
    struct stat status;
    return fstat(fd, &status) == 0 ? status.st_size : 0;
}

int MoveIntoStore(tagStore* pStore, int fd) {
    const int64_t nLost = SizeOf(fd);
    if (nLost == 0) return STORE_OK;
    if (const int nResult = BeginStoreChange(pStore)) return nResult;
    const int nAdded = AddLostReports(pStore, nLost);
    const int bEmptied = nAdded == STORE_OK && ftruncate(fd, 0) == 0;
    const int nEnded = EndStoreChange(pStore, bEmptied);
    if (bEmptied && nEnded != STORE_OK) (void)!ftruncate(fd, nLost);
    return nAdded != STORE_OK ? nAdded : nEnded;
}
}  // namespace
