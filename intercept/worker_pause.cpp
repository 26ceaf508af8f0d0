#include "intercept/worker_pause.h"

#include <pthread.h>
#include <unistd.h>

#include <array>
#include <cstdint>

#include "common/monotonic_ms.h"
#include "intercept/thread_life.h"
#include "intercept/worker_thread.h"
#include "service/service_config.h"

namespace {
constexpr int LOCK_WAIT_MS = 5;
constexpr int LOCK_LOOK_US = 50;
constexpr int LOCK_REST_MS = 20;

pthread_mutex_t s_PauseLock = PTHREAD_MUTEX_INITIALIZER;

using JudgeLocks = std::array<pthread_mutex_t*, NUM_WORKER_THREADS + 1>;

JudgeLocks AllLocks();
bool TakeAllLocks(int64_t nWaitMs);
bool TakeAllSoon(const JudgeLocks& locks);
bool TakeSoon(pthread_mutex_t* pLock, int64_t nUntil);
}  // namespace

int StartAllWorkers() {
    pthread_mutex_lock(&s_PauseLock);
    int nFailed = 0;
    uint32_t nIndex = 0;
    for (tagWorkerThread& worker : g_WorkerThreads) {
        worker = {};
        worker.nIndex = nIndex++;
        if (StartWorkerThread(worker) != 0) ++nFailed;
    }
    pthread_mutex_unlock(&s_PauseLock);
    return nFailed;
}

bool PauseWorkers() {
    pthread_mutex_lock(&s_PauseLock);
    uint32_t nIndex = 0;
    for (tagWorkerThread& worker : g_WorkerThreads) {
        if (GetThreadLife(worker.nLife) != THREAD_RUNNING) {
            worker.nIndex = nIndex;
            (void)StartWorkerThread(worker);
        }
        ++nIndex;
    }
    if (TakeAllLocks(PAUSE_WAIT_SECONDS * 1000)) return true;
    pthread_mutex_unlock(&s_PauseLock);
    return false;
}

void ResumeWorkers() {
    pthread_mutex_unlock(&g_ReceiverAsWorker.lock);
    for (tagWorkerThread& worker : g_WorkerThreads)
        pthread_mutex_unlock(&worker.lock);
    pthread_mutex_unlock(&s_PauseLock);
}

void PauseOtherWorkers() {
    pthread_mutex_unlock(&CurrentWorker()->lock);
    pthread_mutex_lock(&s_PauseLock);
    (void)TakeAllLocks(INT64_MAX);
}

void ResumeOtherWorkers() {
    for (tagWorkerThread& worker : g_WorkerThreads)
        if (&worker != CurrentWorker()) pthread_mutex_unlock(&worker.lock);
    if (&g_ReceiverAsWorker != CurrentWorker()) pthread_mutex_unlock(&g_ReceiverAsWorker.lock);
    pthread_mutex_unlock(&s_PauseLock);
}

namespace {
// In the order in which they are taken.
JudgeLocks AllLocks() {
    JudgeLocks locks;
    auto pLock = locks.begin();
    for (tagWorkerThread& worker : g_WorkerThreads)
        *pLock++ = &worker.lock;
    *pLock = &g_ReceiverAsWorker.lock;
    return locks;
}

// With LiveTraffic 1 the locks of the others are given back while one packet takes long: it must not keep the
// rest from being judged for as long as somebody waits to pause them. Then it may also be in vain.
bool TakeAllLocks(int64_t nWaitMs) {
    const JudgeLocks locks = AllLocks();
    if (g_bLiveTraffic != 1) {
        for (pthread_mutex_t* pLock : locks)
            pthread_mutex_lock(pLock);
        return true;
    }
    const int64_t nBegin = MonotonicMs();
    while (!TakeAllSoon(locks)) {
        if (MonotonicMs() - nBegin > nWaitMs) return false;
        usleep(LOCK_REST_MS * 1000);
    }
    return true;
}

// All, or none.
bool TakeAllSoon(const JudgeLocks& locks) {
    const int64_t nUntil = MonotonicMs() + LOCK_WAIT_MS;
    for (auto pTaken = locks.begin(); pTaken != locks.end(); ++pTaken) {
        if (TakeSoon(*pTaken, nUntil)) continue;
        while (pTaken != locks.begin())
            pthread_mutex_unlock(*--pTaken);
        return false;
    }
    return true;
}

// A worker that is only busy has its lock free after each packet, for about as long as it was taken.
bool TakeSoon(pthread_mutex_t* pLock, int64_t nUntil) {
    while (pthread_mutex_trylock(pLock) != 0) {
        if (MonotonicMs() > nUntil) return false;
        usleep(LOCK_LOOK_US);
    }
    return true;
}
}  // namespace
