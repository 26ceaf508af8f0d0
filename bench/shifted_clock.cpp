// To be preloaded (LD_PRELOAD): the wall clock is ahead by as many seconds as the file named by
// SHIFTED_CLOCK_FILE tells in digits, read at each question, so that it can be set back and forth under a
// running program.
#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>

namespace {
time_t Shift() {
    const char* szFile = getenv("SHIFTED_CLOCK_FILE");
    const int fd = szFile ? open(szFile, O_RDONLY | O_CLOEXEC) : -1;
    if (fd < 0) return 0;
    char szDigits[32] = {};
    const ssize_t nRead = read(fd, szDigits, sizeof szDigits - 1);
    close(fd);
    return nRead > 0 ? strtol(szDigits, nullptr, 10) : 0;
}
}  // namespace

extern "C" {
int clock_gettime(clockid_t nClock, timespec* pNow) {
    const long nResult = syscall(SYS_clock_gettime, nClock, pNow);
    if (nResult == 0 && nClock == CLOCK_REALTIME) pNow->tv_sec += Shift();
    return static_cast<int>(nResult);
}

int gettimeofday(timeval* pNow, void*) {
    timespec now{};
    const int nResult = clock_gettime(CLOCK_REALTIME, &now);
    *pNow = {now.tv_sec, now.tv_nsec / 1000};
    return nResult;
}

time_t time(time_t* pNow) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (pNow) *pNow = now.tv_sec;
    return now.tv_sec;
}
}
