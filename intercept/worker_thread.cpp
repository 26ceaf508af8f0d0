#include "intercept/worker_thread.h"

#include <linux/netfilter.h>

#include <algorithm>
#include <chrono>
#include <iterator>

#include "inspect/queued_packet.h"
#include "intercept/judging_cost.h"
#include "intercept/packet_info.h"
#include "intercept/packet_store.h"
#include "intercept/queue_attributes.h"
#include "intercept/receiver_thread.h"
#include "intercept/receiver_watch.h"
#include "intercept/store_progress.h"
#include "intercept/thread_life.h"
#include "intercept/verdict_batch.h"
#include "intercept/worker_pause.h"

tagWorkerThread g_WorkerThreads[NUM_WORKER_THREADS];
tagWorkerThread g_ReceiverAsWorker{NUM_WORKER_THREADS, {}, PTHREAD_MUTEX_INITIALIZER, THREAD_NONE, 1};

namespace {
thread_local tagWorkerThread* t_pWorker = nullptr;

using Clock = std::chrono::steady_clock;

void* WorkerThread(void* pArgument);
void MarkWorkerEnded(void* pArgument);
void JudgePackets(tagWorkerThread& worker);
void ReleaseWorkerLock(void* pArgument);
}  // namespace

void ActAsWorker(tagWorkerThread& worker) {
    t_pWorker = &worker;
}

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

// A thread that is cancelled inside the flow gives the lock back on the way.
int JudgeUnderLock(tagWorkerThread& worker, const tagPacketSlot& slot) {
    const tagQueueReceiver& receiver = ReceiverOfQueue(slot.nQueueNum);
    tagPacketInfo info{};
    int nResult = 0;
    const Clock::time_point begin = Clock::now();
    pthread_cleanup_push(ReleaseWorkerLock, &worker);
    nResult = RunQueueMessages(slot.message, slot.nMessageLen, receiver.nPortId, OnQueuePacket, &info);
    pthread_cleanup_pop(1);
    NoteJudgingCost(static_cast<uint64_t>(std::chrono::nanoseconds(Clock::now() - begin).count()));
    if (nResult < 0) return nResult;
    if (&worker == &g_ReceiverAsWorker) {
        GatherVerdict(receiver, info);
    } else {
        SendVerdict(receiver, info);
    }
    return nResult;
}

namespace {
void* WorkerThread(void* pArgument) {
    pthread_cleanup_push(MarkWorkerEnded, pArgument);
    ActAsWorker(*static_cast<tagWorkerThread*>(pArgument));
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
        AwaitStoredMessage(slot);
        pthread_mutex_lock(&g_PacketStoreLock);
        NoteWorkerTakes();
        const int nPopped = PacketStorePop(g_PacketStore, slot);
        CountStoreDepth(g_PacketStore);
        pthread_mutex_unlock(&g_PacketStoreLock);
        if (nPopped != 0) continue;

        LetPauseBegin();
        pthread_mutex_lock(&worker.lock);
        if (JudgeUnderLock(worker, slot) < 0) return;
    }
}

void ReleaseWorkerLock(void* pArgument) {
    pthread_mutex_unlock(&static_cast<tagWorkerThread*>(pArgument)->lock);
}
}  // namespace
