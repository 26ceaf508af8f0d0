// Takes report records from the threads that judge requests and stores them from a thread of its own, so that
// no verdict waits for a disk or for a lock. Each report module has one writer.
//
// The thread starts with the first record: a plug-in is told neither of its loading nor of the daemon's
// detaching. It keeps all signals blocked. While the store cannot be written (locked, missing, no space) the
// records wait in the queue; what no longer fits is counted lost, and the count is stored with the next
// records.
#pragma once

#include <pthread.h>

#include <cstddef>
#include <cstdint>

constexpr size_t REPORT_QUEUE_MAX = 8192;  // records waiting, at most 4.4 KB each

struct tagQueuedReport;

// Zeroed by its initialisers; it may stand in static storage and is never destroyed.
struct tagReportWriter {
    pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;   // guards all below; never held during a write
    pthread_cond_t changed = PTHREAD_COND_INITIALIZER;  // a record came, a stop was asked for, or it ended
    pthread_t thread{};                                 // valid while bStarted is 1
    uint8_t bStarted = 0;
    uint8_t bStopping = 0;
    uint8_t bEnded = 0;   // the thread touches nothing of this any more
    int64_t nStopAt = 0;  // with bStopping: no attempt after this, in ms of the monotonic clock
    int nWaitMs = 0;      // with bStopping: how far each stored batch puts that off
    tagQueuedReport* apQueue[REPORT_QUEUE_MAX] = {};  // a ring; a record leaves it once it is stored
    size_t nFirst = 0;
    size_t nCount = 0;
    int64_t nLost = 0;  // not stored and not yet counted in the store
};

// Copies a record of that report type into the queue. Answers 1 when it was taken, 0 when not: the type is
// none, the queue is full, memory or threads ran out, or the writer was stopped; all but the first are
// counted. Any thread, also one that may be cancelled.
int QueueReport(tagReportWriter* pWriter, int nType, const void* pRecord);

// Stores what waits and ends the thread. Once nothing could be stored for nWaitMs it gives up; what is left
// is counted lost beside the store. One thread, once; records that come later are not taken.
void StopReportWriter(tagReportWriter* pWriter, int nWaitMs);

// How long a module waits when it is unloaded. There are two, and they stop one after the other.
constexpr int REPORT_STOP_MS = 1000;
