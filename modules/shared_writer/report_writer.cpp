#include "modules/shared_writer/report_writer.h"

#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "modules/store/lost_aside.h"
#include "modules/store/report_decode.h"
#include "modules/store/report_intake.h"
#include "modules/store/store_reports.h"
#include "modules/store/store_sql.h"

struct tagQueuedReport {
    int nType;
    int64_t nArrived;  // seconds since 1970
    alignas(8) unsigned char record[];
};

namespace {
constexpr size_t BATCH_MAX = 512;          // records in one transaction
constexpr int GAP_MS = 10;                 // between transactions: the other module and the tool write too
constexpr int BUSY_MS = 200;               // one attempt waits no longer for a lock
constexpr int RETRY_MS = 500;              // between attempts
constexpr int RETRY_MS_STOPPING = 50;      // between attempts once a stop was asked for
constexpr int IDLE_MS = 2000;              // then the connection is closed, so that the file may be replaced
constexpr int64_t BYTES_KEPT = 256 << 20;  // the database grows no larger by reports

struct tagBatch {
    tagQueuedReport* apReports[BATCH_MAX];  // still in the queue
    size_t nReports;
    int64_t nLost;
};

tagQueuedReport* CopyReport(int nType, const void* pRecord, size_t nSize);
int Enqueue(tagReportWriter* pWriter, tagQueuedReport* pReport);
int StartThread(tagReportWriter* pWriter);
void* WriteReports(void* pArgument);
int WaitForBatch(tagReportWriter* pWriter, tagStore* pStore, tagBatch* pBatch);
int MustEnd(const tagReportWriter* pWriter);
int StoreBatch(tagStore* pStore, const tagBatch& batch);
int StoreRows(tagStore* pStore, const tagBatch& batch);
int RemoveBatch(tagReportWriter* pWriter, const tagBatch& batch);
void PauseBeforeRetry(tagReportWriter* pWriter);
void DropQueue(tagReportWriter* pWriter);
int64_t NowMs();
int WaitUntil(tagReportWriter* pWriter, int64_t nUntilMs);
}  // namespace

int QueueReport(tagReportWriter* pWriter, int nType, const void* pRecord) {
    const size_t nSize = ReportRecordSize(nType);
    if (nSize == 0 || !pRecord) return 0;
    int nCancelState = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &nCancelState);
    tagQueuedReport* pReport = CopyReport(nType, pRecord, nSize);
    pthread_mutex_lock(&pWriter->lock);
    const int bTaken = pReport && Enqueue(pWriter, pReport);
    if (!bTaken) ++pWriter->nLost;
    pthread_mutex_unlock(&pWriter->lock);
    if (!bTaken) std::free(pReport);
    pthread_setcancelstate(nCancelState, nullptr);
    return bTaken;
}

void StopReportWriter(tagReportWriter* pWriter, int nWaitMs) {
    pthread_mutex_lock(&pWriter->lock);
    pWriter->nWaitMs = nWaitMs;
    pWriter->nStopAt = NowMs() + nWaitMs;
    pWriter->bStopping = 1;
    pthread_cond_broadcast(&pWriter->changed);
    // One attempt may still be under way at nStopAt.
    while (pWriter->bStarted && !pWriter->bEnded &&
           WaitUntil(pWriter, pWriter->nStopAt + int64_t{2} * BUSY_MS)) {
    }
    const int bStuck = pWriter->bStarted && !pWriter->bEnded;  // in a disk that does not answer
    const int64_t nLeft = pWriter->nLost + static_cast<int64_t>(pWriter->nCount);
    if (!bStuck) DropQueue(pWriter);
    pthread_mutex_unlock(&pWriter->lock);
    if (pWriter->bStarted) bStuck ? pthread_detach(pWriter->thread) : pthread_join(pWriter->thread, nullptr);
    if (nLeft != 0) (void)AddLostAside(nLeft);
}

namespace {
tagQueuedReport* CopyReport(int nType, const void* pRecord, size_t nSize) {
    auto* pReport = static_cast<tagQueuedReport*>(std::malloc(sizeof(tagQueuedReport) + nSize));
    if (!pReport) return nullptr;
    pReport->nType = nType;
    pReport->nArrived = time(nullptr);
    std::memcpy(pReport->record, pRecord, nSize);
    return pReport;
}

// Under the lock.
int Enqueue(tagReportWriter* pWriter, tagQueuedReport* pReport) {
    if (pWriter->bStopping || pWriter->nCount == REPORT_QUEUE_MAX) return 0;
    if (!pWriter->bStarted && StartThread(pWriter) != 0) return 0;
    pWriter->apQueue[(pWriter->nFirst + pWriter->nCount) % REPORT_QUEUE_MAX] = pReport;
    ++pWriter->nCount;
    pthread_cond_broadcast(&pWriter->changed);
    return 1;
}

// The new thread inherits the blocked signals of this moment.
int StartThread(tagReportWriter* pWriter) {
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const int nResult = pthread_create(&pWriter->thread, nullptr, WriteReports, pWriter);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pWriter->bStarted = nResult == 0;
    return nResult;
}

void* WriteReports(void* pArgument) {
    auto* pWriter = static_cast<tagReportWriter*>(pArgument);
    tagStore store = {};
    tagBatch batch;
    while (WaitForBatch(pWriter, &store, &batch)) {
        if (StoreBatch(&store, batch) == STORE_OK) {
            if (RemoveBatch(pWriter, batch) != 0) usleep(GAP_MS * 1000);
        } else {
            CloseStore(&store);
            PauseBeforeRetry(pWriter);
        }
    }
    CloseStore(&store);
    pthread_mutex_lock(&pWriter->lock);
    pWriter->bEnded = 1;
    pthread_cond_broadcast(&pWriter->changed);
    pthread_mutex_unlock(&pWriter->lock);
    return nullptr;
}

// Waits for records. Answers 0 when the thread must end. The records stay in the queue.
int WaitForBatch(tagReportWriter* pWriter, tagStore* pStore, tagBatch* pBatch) {
    pthread_mutex_lock(&pWriter->lock);
    int64_t nIdleAt = NowMs() + IDLE_MS;
    while (pWriter->nCount == 0 && !pWriter->bStopping) {
        if (!pStore->pDb) {
            pthread_cond_wait(&pWriter->changed, &pWriter->lock);
        } else if (!WaitUntil(pWriter, nIdleAt)) {
            pthread_mutex_unlock(&pWriter->lock);
            CloseStore(pStore);
            pthread_mutex_lock(&pWriter->lock);
        }
    }
    pBatch->nReports = std::min(pWriter->nCount, BATCH_MAX);
    pBatch->nLost = pWriter->nLost;
    for (size_t n = 0; n < pBatch->nReports; ++n) {
        pBatch->apReports[n] = pWriter->apQueue[(pWriter->nFirst + n) % REPORT_QUEUE_MAX];
    }
    const int bEnd = MustEnd(pWriter);
    pthread_mutex_unlock(&pWriter->lock);
    return !bEnd;
}

// Under the lock.
int MustEnd(const tagReportWriter* pWriter) {
    return pWriter->bStopping && (pWriter->nCount == 0 || NowMs() >= pWriter->nStopAt);
}

int StoreBatch(tagStore* pStore, const tagBatch& batch) {
    int nResult = STORE_OK;
    if (!pStore->pDb) {
        nResult = OpenStore(pStore, STORE_OPEN_EXISTING, BUSY_MS);
        // A crash of the process loses nothing this way; one of the machine may lose the newest rows, and the
        // disk is spared a flush for every block.
        if (nResult == STORE_OK) nResult = RunSql(pStore, "PRAGMA synchronous = NORMAL");
        if (nResult == STORE_OK) nResult = TakeLostAside(pStore);
    }
    if (nResult == STORE_OK) nResult = BeginStoreChange(pStore);
    if (nResult != STORE_OK) return nResult;
    nResult = StoreRows(pStore, batch);
    const int nEnded = EndStoreChange(pStore, nResult == STORE_OK);
    return nResult != STORE_OK ? nResult : nEnded;
}

int StoreRows(tagStore* pStore, const tagBatch& batch) {
    int nResult = STORE_OK;
    for (size_t n = 0; n < batch.nReports && nResult == STORE_OK; ++n) {
        const tagQueuedReport& report = *batch.apReports[n];
        nResult = StoreReport(pStore, report.nType, report.record, report.nArrived);
    }
    if (nResult == STORE_OK) nResult = TrimReports(pStore, STORE_REPORTS_KEPT, BYTES_KEPT);
    if (nResult == STORE_OK && batch.nLost != 0) nResult = AddLostReports(pStore, batch.nLost);
    return nResult;
}

// Answers 1 when more records wait.
int RemoveBatch(tagReportWriter* pWriter, const tagBatch& batch) {
    pthread_mutex_lock(&pWriter->lock);
    pWriter->nFirst = (pWriter->nFirst + batch.nReports) % REPORT_QUEUE_MAX;
    pWriter->nCount -= batch.nReports;
    pWriter->nLost -= batch.nLost;
    if (pWriter->bStopping) pWriter->nStopAt = NowMs() + pWriter->nWaitMs;
    const int bMore = pWriter->nCount != 0;
    pthread_mutex_unlock(&pWriter->lock);
    for (size_t n = 0; n < batch.nReports; ++n)
        std::free(batch.apReports[n]);
    return bMore;
}

// A stop asked for meanwhile ends the pause.
void PauseBeforeRetry(tagReportWriter* pWriter) {
    pthread_mutex_lock(&pWriter->lock);
    const uint8_t bStopping = pWriter->bStopping;
    const int64_t nUntil = NowMs() + (bStopping ? RETRY_MS_STOPPING : RETRY_MS);
    while (pWriter->bStopping == bStopping && WaitUntil(pWriter, nUntil)) {
    }
    pthread_mutex_unlock(&pWriter->lock);
}

// Under the lock, without a thread.
void DropQueue(tagReportWriter* pWriter) {
    for (; pWriter->nCount != 0; --pWriter->nCount) {
        std::free(pWriter->apQueue[pWriter->nFirst]);
        pWriter->nFirst = (pWriter->nFirst + 1) % REPORT_QUEUE_MAX;
    }
}

// Milliseconds of the monotonic clock.
int64_t NowMs() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

// Under the lock: waits for a change, but not past nUntilMs. Answers 0 once that time has come.
int WaitUntil(tagReportWriter* pWriter, int64_t nUntilMs) {
    if (NowMs() >= nUntilMs) return 0;
    const timespec until = {.tv_sec = nUntilMs / 1000, .tv_nsec = nUntilMs % 1000 * 1000000};
    pthread_cond_clockwait(&pWriter->changed, &pWriter->lock, CLOCK_MONOTONIC, &until);
    return 1;
}
}  // namespace
