#include "intercept/receiver_watch.h"

#include <poll.h>
#include <sys/prctl.h>
#include <time.h>

#include <atomic>

#include "intercept/receiver_thread.h"
#include "intercept/verdict_batch.h"
#include "service/service_config.h"

namespace {
constexpr int QUIET_LOOKS = 100;  // without a packet, then the watch ends

std::atomic<bool> s_bWatched{false};

// Odd while the receiver judges; another one for each packet. Written by the receiver alone, which may also
// be cancelled between two of them.
std::atomic<uint64_t> s_nTurn{0};

bool Watch(tagPacketSlot& slot);
bool AwaitLook();
void EndWatch(void* pUnused);
void StandIn(uint64_t nTurn, tagPacketSlot& slot);
}  // namespace

// Either this sees that the watch has ended, or the watcher sees that the receiver judges and stays: each
// writes before it reads, in one order for both.
bool BeginOwnJudging() {
    s_nTurn.store((s_nTurn.load(std::memory_order_relaxed) | 1) + 2);
    if (s_bWatched.load()) return true;
    EndOwnJudging();
    return false;
}

void EndOwnJudging() {
    s_nTurn.store(s_nTurn.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

void AwaitStoredMessage(tagPacketSlot& slot) {
    bool bPosted = false;
    bool bJudging = g_bLiveTraffic == 1;
    while (bJudging && !bPosted && !s_bWatched.exchange(true)) {
        pthread_cleanup_push(EndWatch, nullptr);
        bPosted = Watch(slot);
        pthread_cleanup_pop(1);
        bJudging = s_nTurn.load() % 2 == 1;
    }
    // Called away from a receiver that counts on being watched: another worker comes, finds nothing, and
    // watches.
    if (bPosted && bJudging) sem_post(&g_PacketStoreSem);
    if (!bPosted) (void)sem_wait(&g_PacketStoreSem);
}

namespace {
// Whether a message was stored; false when no packets come any more.
bool Watch(tagPacketSlot& slot) {
    uint64_t nTurn = s_nTurn.load(std::memory_order_relaxed);
    for (int nQuiet = 0; nQuiet < QUIET_LOOKS; ++nQuiet) {
        if (AwaitLook()) return true;
        const uint64_t nNow = s_nTurn.load(std::memory_order_relaxed);
        if (nNow == nTurn && nNow % 2 == 1) StandIn(nTurn, slot);
        if (nNow != nTurn) nQuiet = 0;
        nTurn = nNow;
    }
    return false;
}

// While packets come the kernel's tick comes too, and within the slack it ends the wait: a timer of its own
// would cost twice as much as the look.
bool AwaitLook() {
    if (sem_trywait(&g_PacketStoreSem) == 0) return true;
    timespec until;
    clock_gettime(CLOCK_MONOTONIC, &until);
    until.tv_nsec += RECEIVER_WATCH_MS * 1'000'000L;
    if (until.tv_nsec >= 1'000'000'000L) {
        ++until.tv_sec;
        until.tv_nsec -= 1'000'000'000L;
    }
    (void)prctl(PR_SET_TIMERSLACK, RECEIVER_WATCH_MS * 1'000'000UL);
    const bool bPosted = sem_clockwait(&g_PacketStoreSem, CLOCK_MONOTONIC, &until) == 0;
    (void)prctl(PR_SET_TIMERSLACK, 0UL);  // as it was
    return bPosted;
}

void EndWatch(void*) {
    s_bWatched.store(false);
}

// Never waits for a packet that the receiver, which may have got on, takes first: with its next one it may
// come to need this worker again.
void StandIn(uint64_t nTurn, tagPacketSlot& slot) {
    SendGatheredVerdicts(g_QueueReceivers[0]);
    pollfd wait{mnl_socket_get_fd(g_QueueReceivers[0].pSocket), POLLIN, 0};
    while (s_nTurn.load(std::memory_order_relaxed) == nTurn) {
        if (poll(&wait, 1, RECEIVER_WATCH_MS) != 1 || HandOffWaiting(g_QueueReceivers[0], slot)) continue;
        // The receiver has to learn that the channel is lost: the kernel answers this as well.
        SendVerdict(g_QueueReceivers[0], UINT32_MAX, 1);
        return;
    }
}
}  // namespace
