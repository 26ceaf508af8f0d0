#include "intercept/store_progress.h"

#include <algorithm>

namespace {
bool s_bStopped = false;
int64_t s_nAskedMs = 0;
int64_t s_nWaitedMs = 0;  // while nobody took what waits
}  // namespace

void NoteWorkerTakes() {
    s_nWaitedMs = 0;
    s_bStopped = false;
}

bool HaveWorkersStopped(const tagPacketStore& store, int64_t nNowMs) {
    const bool bWaits = s_bStopped || PacketStoreDepth(store) > 0;
    s_nWaitedMs = bWaits ? s_nWaitedMs + std::min(nNowMs - s_nAskedMs, LONGEST_SPAN_MS) : 0;
    s_nAskedMs = nNowMs;
    s_bStopped = s_nWaitedMs > WORKERS_STOPPED_MS;
    return s_bStopped;
}
