#include "intercept/worker_pause.h"

#include "intercept/thread_life.h"
#include "intercept/worker_thread.h"

namespace {
pthread_mutex_t s_PauseLock = PTHREAD_MUTEX_INITIALIZER;
}

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

void PauseWorkers() {
    pthread_mutex_lock(&s_PauseLock);
    uint32_t nIndex = 0;
    for (tagWorkerThread& worker : g_WorkerThreads) {
        if (GetThreadLife(worker.nLife) != THREAD_RUNNING) {
            worker.nIndex = nIndex;
            (void)StartWorkerThread(worker);
        }
        pthread_mutex_lock(&worker.lock);
        ++nIndex;
    }
    pthread_mutex_lock(&g_ReceiverAsWorker.lock);
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
    for (tagWorkerThread& worker : g_WorkerThreads)
        pthread_mutex_lock(&worker.lock);
    pthread_mutex_lock(&g_ReceiverAsWorker.lock);
}

void ResumeOtherWorkers() {
    for (tagWorkerThread& worker : g_WorkerThreads)
        if (&worker != CurrentWorker()) pthread_mutex_unlock(&worker.lock);
    if (&g_ReceiverAsWorker != CurrentWorker()) pthread_mutex_unlock(&g_ReceiverAsWorker.lock);
    pthread_mutex_unlock(&s_PauseLock);
}
