#include "intercept/worker_pause.h"

#include <pthread.h>
#include <unistd.h>

#include <array>
#include <atomic>
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
std::atomic<bool> s_bTaking{false};  // somebody takes the locks of all

using JudgeLocks = std::array<pthread_mutex_t*, NUM_WORKER_THREADS + 1>;

bool TakePauseLock(int64_t nUntil);
JudgeLocks AllLocks();
bool TakeAllLocks(int64_t nUntil);
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
    const int64_t nUntil = MonotonicMs() + PAUSE_WAIT_SECONDS * 1000;
    if (!TakePauseLock(nUntil)) return false;
    uint32_t nIndex = 0;
    for (tagWorkerThread& worker : g_WorkerThreads) {
        if (GetThreadLife(worker.nLife) != THREAD_RUNNING) {
            worker.nIndex = nIndex;
            (void)StartWorkerThread(worker);
        }
        ++nIndex;
    }
    if (TakeAllLocks(nUntil)) return true;
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

void LetPauseBegin() {
    while (s_bTaking)
        usleep(LOCK_LOOK_US);
}

namespace {
// With LiveTraffic 1 a worker that pauses the others may wait for a packet that takes long.
bool TakePauseLock(int64_t nUntil) {
    if (g_bLiveTraffic != 1) return pthread_mutex_lock(&s_PauseLock) == 0;
    while (pthread_mutex_trylock(&s_PauseLock) != 0) {
        if (MonotonicMs() > nUntil) return false;
        usleep(LOCK_REST_MS * 1000);
    }
    return true;
}

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
bool TakeAllLocks(int64_t nUntil) {
    const JudgeLocks locks = AllLocks();
    if (g_bLiveTraffic != 1) {
        for (pthread_mutex_t* pLock : locks)
            pthread_mutex_lock(pLock);
        return true;
    }
    while (!TakeAllSoon(locks)) {
        if (MonotonicMs() > nUntil) return false;
        usleep(LOCK_REST_MS * 1000);
    }
    return true;
}

// All, or none. Workers begin with no other packet meanwhile: with one after the other at hand, each would
// have its lock again before this looked, and hardly ever would all be free within that time.
bool TakeAllSoon(const JudgeLocks& locks) {
    const int64_t nUntil = MonotonicMs() + LOCK_WAIT_MS;
    s_bTaking = true;
    auto pTaken = locks.begin();
    while (pTaken != locks.end() && TakeSoon(*pTaken, nUntil))
        ++pTaken;
    const bool bAll = pTaken == locks.end();
    while (!bAll && pTaken != locks.begin())
        pthread_mutex_unlock(*--pTaken);
    s_bTaking = false;
    return bAll;
}

bool TakeSoon(pthread_mutex_t* pLock, int64_t nUntil) {
    while (pthread_mutex_trylock(pLock) != 0) {
        if (MonotonicMs() > nUntil) return false;
        usleep(LOCK_LOOK_US);
    }
    return true;
}
}  // namespace
