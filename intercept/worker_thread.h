// The workers: each takes queue messages out of the packet store in arrival order, runs them through the
// decision flow under its own lock, and sends the verdict that the flow left.
#pragma once

#include <pthread.h>

#include <cstdint>

struct tagPacketSlot;

constexpr int NUM_WORKER_THREADS = 4;

// One worker. The main thread starts and stops it; the thread itself writes nLife when it ends.
struct tagWorkerThread {
    uint32_t nIndex;       // 0 to NUM_WORKER_THREADS - 1
    pthread_t thread;      // valid while nLife is not THREAD_NONE
    pthread_mutex_t lock;  // held while one packet is in the decision flow; taken to pause the worker
    uint8_t nLife;         // THREAD_*
    uint8_t bLockReady;    // 1: lock is initialised
};

extern tagWorkerThread g_WorkerThreads[NUM_WORKER_THREADS];

// The lock under which the receiver judges packets itself (LiveTraffic 1); always there. No thread of its
// own.
extern tagWorkerThread g_ReceiverAsWorker;

// The calling thread judges under that record's lock from now on.
void ActAsWorker(tagWorkerThread& worker);

// The record of a thread that judges; null on every other thread.
tagWorkerThread* CurrentWorker();

// Runs a message through the decision flow, gives the record's lock back, which the caller has taken, and
// sends the verdict; the receiver's is gathered first (verdict_batch.h). Negative when libmnl rejects the
// message: then there is none.
int JudgeUnderLock(tagWorkerThread& worker, const tagPacketSlot& slot);

// Initialises the lock anew and creates the thread of a worker whose index is set and which does not run
// (joining it first when it has ended). The thread inherits the caller's signal mask. 0 or the error number
// of the failing call. Main thread; nobody may hold or want the worker's lock.
int StartWorkerThread(tagWorkerThread& worker);

// Whether a worker may still send a verdict. Main thread.
bool IsAnyWorkerAlive();

// Cancels and joins all workers, destroys their locks and closes the channels that receivers left. Main
// thread, also from a signal handler. Safe on workers that never started or have ended.
void StopWorkerThreads();
