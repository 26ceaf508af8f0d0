#include "intercept/worker_thread.h"

#include <linux/netfilter.h>

#include <algorithm>
#include <iterator>

#include "inspect/decision_flow.h"
#include "intercept/packet_info.h"
#include "intercept/packet_store.h"
#include "intercept/queue_attributes.h"
#include "intercept/receiver_thread.h"
#include "intercept/thread_life.h"

tagWorkerThread g_WorkerThreads[NUM_WORKER_THREADS];

namespace {
thread_local tagWorkerThread* t_pWorker = nullptr;

void* WorkerThread(void* pArgument);
void MarkWorkerEnded(void* pArgument);
void JudgePackets(tagWorkerThread& worker);
int DispatchSlot(tagWorkerThread& worker, const tagPacketSlot& slot, tagPacketInfo& info);
void ReleaseWorkerLock(void* pArgument);
}  // namespace

tagWorkerThread* CurrentWorker() {
    return t_pWorker;
}

int StartWorkerThread(tagWorkerThread& worker) {
    if (GetThreadLife(worker.nLife) == THREAD_ENDED) pthread_join(worker.thread, nullptr);
    SetThreadLife(worker.nLife, THREAD_NONE);
    if (worker.bLockReady) pthread_mutex_destroy(&worker.lock);
    const int nLock = pthread_mutex_init(&worker.lock, nullptr);
    worker.bLockReady = nLock == 0;
    if (nLock != 0) return nLock;

    SetThreadLife(worker.nLife, THREAD_RUNNING);
    const int nCreated = pthread_create(&worker.thread, nullptr, WorkerThread, &worker);
    if (nCreated != 0) SetThreadLife(worker.nLife, THREAD_NONE);
    return nCreated;
}

void StopWorkerThreads() {
    for (tagWorkerThread& worker : g_WorkerThreads) {
        if (GetThreadLife(worker.nLife) != THREAD_NONE) pthread_cancel(worker.thread);
    }
    for (tagWorkerThread& worker : g_WorkerThreads) {
        if (GetThreadLife(worker.nLife) != THREAD_NONE) pthread_join(worker.thread, nullptr);
        SetThreadLife(worker.nLife, THREAD_NONE);
    }
    // Only now: a worker that loads the settings holds the other workers' locks, too.
    for (tagWorkerThread& worker : g_WorkerThreads) {
        if (worker.bLockReady) pthread_mutex_destroy(&worker.lock);
        worker.bLockReady = 0;
    }
    CloseIdleChannels();
}

bool IsAnyWorkerAlive() {
    return std::any_of(std::begin(g_WorkerThreads), std::end(g_WorkerThreads),
                       [](tagWorkerThread& worker) { return GetThreadLife(worker.nLife) == THREAD_RUNNING; });
}

namespace {
void* WorkerThread(void* pArgument) {
    pthread_cleanup_push(MarkWorkerEnded, pArgument);
    t_pWorker = static_cast<tagWorkerThread*>(pArgument);
    JudgePackets(*t_pWorker);
    pthread_cleanup_pop(1);
    return nullptr;
}

void MarkWorkerEnded(void* pArgument) {
    SetThreadLife(static_cast<tagWorkerThread*>(pArgument)->nLife, THREAD_ENDED);
}

// Returns when libmnl rejects a message, for instance the kernel's error for a verdict it could not apply.
void JudgePackets(tagWorkerThread& worker) {
    tagPacketSlot slot;
    for (;;) {
        (void)sem_wait(&g_PacketStoreSem);
        pthread_mutex_lock(&g_PacketStoreLock);
        const int nPopped = PacketStorePop(g_PacketStore, slot);
        CountStoreDepth(g_PacketStore);
        pthread_mutex_unlock(&g_PacketStoreLock);
        if (nPopped != 0) continue;

        tagPacketInfo info{};
        if (DispatchSlot(worker, slot, info) < 0) return;
        SendVerdict(ReceiverOfQueue(slot.nQueueNum), info);
    }
}

// The result of libmnl's dispatch. A worker that is cancelled inside the flow gives its lock back on the way.
int DispatchSlot(tagWorkerThread& worker, const tagPacketSlot& slot, tagPacketInfo& info) {
    int nResult = 0;
    pthread_mutex_lock(&worker.lock);
    pthread_cleanup_push(ReleaseWorkerLock, &worker);
    nResult = RunQueueMessages(slot.message, slot.nMessageLen, ReceiverOfQueue(slot.nQueueNum).nPortId,
                               OnQueuePacket, &info);
    pthread_cleanup_pop(1);
    return nResult;
}

void ReleaseWorkerLock(void* pArgument) {
    pthread_mutex_unlock(&static_cast<tagWorkerThread*>(pArgument)->lock);
}
}  // namespace
