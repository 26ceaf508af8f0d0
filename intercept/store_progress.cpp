#include "intercept/store_progress.h"

namespace {
bool s_bTaken = false;  // since it was last asked for
bool s_bStopped = false;
int64_t s_nSinceMs = 0;
}  // namespace

void NoteWorkerTakes() {
    s_bTaken = true;
}

bool HaveWorkersStopped(const tagPacketStore& store, int64_t nNowMs) {
    const bool bNoneWaits = !s_bStopped && PacketStoreDepth(store) == 0;
    if (s_bTaken || bNoneWaits) s_nSinceMs = nNowMs;
    s_bTaken = false;
    s_bStopped = nNowMs - s_nSinceMs > WORKERS_STOPPED_MS;
    return s_bStopped;
}
