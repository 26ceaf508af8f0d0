#include "intercept/store_progress.h"

namespace {
bool s_bStopped = false;
int64_t s_nSinceMs = 0;  // that long nobody has taken what waits
}  // namespace

void NoteWorkerTakes(int64_t nNowMs) {
    s_nSinceMs = nNowMs;
    s_bStopped = false;
}

bool HaveWorkersStopped(const tagPacketStore& store, int64_t nNowMs) {
    if (!s_bStopped && PacketStoreDepth(store) == 0) s_nSinceMs = nNowMs;
    s_bStopped = nNowMs - s_nSinceMs > WORKERS_STOPPED_MS;
    return s_bStopped;
}
