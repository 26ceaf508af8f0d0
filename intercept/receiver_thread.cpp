#include "intercept/receiver_thread.h"

#include <linux/netfilter.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

#include "common/monotonic_ms.h"
#include "common/traffic_counters.h"
#include "intercept/judging_cost.h"
#include "intercept/packet_store.h"
#include "intercept/queue_attributes.h"
#include "intercept/receiver_watch.h"
#include "intercept/store_progress.h"
#include "intercept/thread_life.h"
#include "intercept/verdict_batch.h"
#include "intercept/worker_thread.h"
#include "policy/ask_names.h"
#include "service/service_config.h"

tagQueueReceiver g_QueueReceivers[NUM_QUEUE_RECEIVERS];

namespace {
// Room in the store is awaited for that long, looked for that often.
constexpr int ROOM_WAIT_MS = 20;
constexpr int ROOM_LOOKS = 40;
std::atomic<bool> s_bWorkersStuck{false};  // that was in vain, and they have taken nothing since

// What to do with a datagram that was received.
enum : uint8_t { TAKE_PACKET, TAKE_NOTHING, TAKE_LOST };

void* QueueReceiverThread(void* pArgument);
void MarkReceiverEnded(void* pArgument);
void ReceivePackets(tagQueueReceiver& receiver);
ssize_t Await(const tagQueueReceiver& receiver, tagPacketSlot& slot);
ssize_t AwaitWhenNoneWaits(const tagQueueReceiver& receiver, tagPacketSlot& slot);
uint8_t TakeDatagram(const tagQueueReceiver& receiver, tagPacketSlot& slot, ssize_t nReceived);
bool IsOverrun(ssize_t nReceived);
uint8_t TakeAnswer(int nError);
bool JudgeHere(const tagPacketSlot& slot);
bool HandOffReceived(const tagQueueReceiver& receiver, tagPacketSlot& slot, ssize_t nReceived);
bool HandOff(const tagQueueReceiver& receiver, const tagPacketSlot& slot);
bool MayStore();
bool AnswerStored(const tagQueueReceiver& receiver);
bool TakeStored(tagPacketSlot& slot);
bool Store(const tagPacketSlot& slot);
bool StoreWhenWorkersGetOn(const tagPacketSlot& slot);
bool AnswerUnjudged(const tagQueueReceiver& receiver, const tagPacketSlot& slot);
}  // namespace

tagQueueReceiver& ReceiverOfQueue(uint32_t nQueueNum) {
    const uint32_t nIndex = nQueueNum - g_QueueReceivers[0].nQueueNum;
    return g_QueueReceivers[std::min<uint32_t>(nIndex, NUM_QUEUE_RECEIVERS - 1)];
}

int StartQueueReceiver(tagQueueReceiver& receiver) {
    const int nOpened = OpenQueueChannel(receiver);
    if (nOpened != 0) return nOpened;
    // Only now: the page of a daemon that has the queue already must stay.
    if (g_bLiveTraffic == 1) {
        (void)mkdir(TRAFFIC_PAGE_DIR, 0755);
        (void)ShareTrafficCounters(TRAFFIC_PAGE_FILE);
    }
    if (sem_init(&receiver.semEnded, 0, 0) != 0) return errno;
    SetThreadLife(receiver.nLife, THREAD_RUNNING);
    const int nCreated = pthread_create(&receiver.thread, nullptr, QueueReceiverThread, &receiver);
    if (nCreated != 0) SetThreadLife(receiver.nLife, THREAD_NONE);
    return nCreated;
}

void AwaitQueueReceivers() {
    for (tagQueueReceiver& receiver : g_QueueReceivers) {
        if (GetThreadLife(receiver.nLife) == THREAD_NONE) continue;
        while (sem_wait(&receiver.semEnded) != 0 && errno == EINTR) {
        }
    }
}

void JoinQueueReceivers() {
    for (tagQueueReceiver& receiver : g_QueueReceivers) {
        if (GetThreadLife(receiver.nLife) != THREAD_NONE) pthread_join(receiver.thread, nullptr);
        SetThreadLife(receiver.nLife, THREAD_NONE);
    }
}

void StopQueueReceivers() {
    for (tagQueueReceiver& receiver : g_QueueReceivers) {
        if (GetThreadLife(receiver.nLife) != THREAD_NONE) pthread_cancel(receiver.thread);
    }
    JoinQueueReceivers();
    if (!IsAnyWorkerAlive()) CloseIdleChannels();
}

void CloseIdleChannels() {
    for (tagQueueReceiver& receiver : g_QueueReceivers) {
        if (!receiver.pSocket || GetThreadLife(receiver.nLife) == THREAD_RUNNING) continue;
        mnl_socket_close(receiver.pSocket);
        receiver.pSocket = nullptr;
    }
}

bool HandOffWaiting(const tagQueueReceiver& receiver, tagPacketSlot& slot) {
    const ssize_t nReceived = ReceiveMessage(receiver, {slot.message, ReceiveBufferBytes()}, MSG_DONTWAIT);
    return (nReceived < 0 && errno == EAGAIN) || HandOffReceived(receiver, slot, nReceived);
}

namespace {
void* QueueReceiverThread(void* pArgument) {
    pthread_cleanup_push(MarkReceiverEnded, pArgument);
    ReceivePackets(*static_cast<tagQueueReceiver*>(pArgument));
    pthread_cleanup_pop(1);
    return nullptr;
}

void MarkReceiverEnded(void* pArgument) {
    auto& receiver = *static_cast<tagQueueReceiver*>(pArgument);
    SendGatheredVerdicts(receiver);
    StopAsking();  // a reload that asks for names would hold the end of the service up
    SetThreadLife(receiver.nLife, THREAD_ENDED);
    sem_post(&receiver.semEnded);
}

// Returns when the channel can no longer be used.
void ReceivePackets(tagQueueReceiver& receiver) {
    ActAsWorker(g_ReceiverAsWorker);
    // Not on the stack: a sanitizer would not see that a cancelled thread has left it.
    thread_local tagPacketSlot slot;
    if (g_bLiveTraffic != 1) {
        while (HandOffReceived(receiver, slot, Await(receiver, slot))) {
        }
        return;
    }
    for (;;) {
        const uint8_t nTaken = TakeDatagram(receiver, slot, AwaitWhenNoneWaits(receiver, slot));
        if (nTaken == TAKE_LOST) return;
        if (nTaken != TAKE_PACKET || JudgeHere(slot)) continue;
        SendGatheredVerdicts(receiver);
        if (!HandOff(receiver, slot)) return;
    }
}

ssize_t Await(const tagQueueReceiver& receiver, tagPacketSlot& slot) {
    static_assert(alignof(tagPacketSlot) >= alignof(nlmsghdr) && offsetof(tagPacketSlot, message) % 4 == 0);
    return mnl_socket_recvfrom(receiver.pSocket, slot.message, ReceiveBufferBytes());
}

// Verdicts are sent before a wait.
ssize_t AwaitWhenNoneWaits(const tagQueueReceiver& receiver, tagPacketSlot& slot) {
    const std::span buffer(slot.message, ReceiveBufferBytes());
    const ssize_t nReceived = ReceiveMessage(receiver, buffer, MSG_DONTWAIT);
    if (nReceived >= 0 || errno != EAGAIN) return nReceived;
    SendGatheredVerdicts(receiver);
    return ReceiveMessage(receiver, buffer, 0);
}

uint8_t TakeDatagram(const tagQueueReceiver& receiver, tagPacketSlot& slot, ssize_t nReceived) {
    if (IsOverrun(nReceived)) return TAKE_NOTHING;
    if (nReceived <= 0) return TAKE_LOST;
    slot.nQueueNum = receiver.nQueueNum;
    slot.nMessageLen = static_cast<uint32_t>(nReceived);
    if (g_bLiveTraffic == 1) {
        if (const auto answer = ReadKernelAnswer(slot.message, slot.nMessageLen)) {
            return TakeAnswer(answer->nError);
        }
    }
    CountTraffic(COUNT_PACKETS);
    return TAKE_PACKET;
}

// Whether only messages are missing that the kernel had no room for.
bool IsOverrun(ssize_t nReceived) {
    if (nReceived >= 0 || errno != ENOBUFS || g_bLiveTraffic != 1) return false;
    CountTraffic(COUNT_KERNEL_OVERRUN);
    return true;
}

uint8_t TakeAnswer(int nError) {
    if (IsChannelLost(nError)) return TAKE_LOST;
    if (nError != 0) CountTraffic(COUNT_VERDICT_LATE);
    return TAKE_NOTHING;
}

// False when a worker has to do it: judging takes long, nobody would notice if it did, or the lists are being
// replaced.
bool JudgeHere(const tagPacketSlot& slot) {
    if (!IsJudgingQuick() || !BeginOwnJudging()) return false;
    if (pthread_mutex_trylock(&g_ReceiverAsWorker.lock) != 0) {
        EndOwnJudging();
        return false;
    }
    (void)JudgeUnderLock(g_ReceiverAsWorker, slot);
    EndOwnJudging();
    return true;
}

// False when the channel can no longer be used.
bool HandOffReceived(const tagQueueReceiver& receiver, tagPacketSlot& slot, ssize_t nReceived) {
    const uint8_t nTaken = TakeDatagram(receiver, slot, nReceived);
    return nTaken == TAKE_PACKET ? HandOff(receiver, slot) : nTaken != TAKE_LOST;
}

// False when libmnl rejects the message: the channel is then broken.
bool HandOff(const tagQueueReceiver& receiver, const tagPacketSlot& slot) {
    if (g_bLiveTraffic == 1 && !MayStore()) return AnswerStored(receiver) && AnswerUnjudged(receiver, slot);
    if (!Store(slot) && !(g_bLiveTraffic == 1 && StoreWhenWorkersGetOn(slot))) {
        return AnswerUnjudged(receiver, slot);
    }
    sem_post(&g_PacketStoreSem);
    return true;
}

// Whether there are workers to take it.
bool MayStore() {
    pthread_mutex_lock(&g_PacketStoreLock);
    const bool bStopped = HaveWorkersStopped(g_PacketStore, MonotonicMs());
    pthread_mutex_unlock(&g_PacketStoreLock);
    return !bStopped;
}

bool AnswerStored(const tagQueueReceiver& receiver) {
    tagPacketSlot slot;
    while (TakeStored(slot))
        if (!AnswerUnjudged(receiver, slot)) return false;
    return true;
}

bool TakeStored(tagPacketSlot& slot) {
    pthread_mutex_lock(&g_PacketStoreLock);
    const int nPopped = PacketStorePop(g_PacketStore, slot);
    CountStoreDepth(g_PacketStore);
    pthread_mutex_unlock(&g_PacketStoreLock);
    return nPopped == 0;
}

bool Store(const tagPacketSlot& slot) {
    pthread_mutex_lock(&g_PacketStoreLock);
    const int nPushed = PacketStorePush(g_PacketStore, slot);
    CountStoreDepth(g_PacketStore);
    pthread_mutex_unlock(&g_PacketStoreLock);
    if (nPushed == 0) s_bWorkersStuck = false;
    return nPushed == 0;
}

// What the workers do not take within that time is not waited for again, until they take something.
bool StoreWhenWorkersGetOn(const tagPacketSlot& slot) {
    for (int i = 0; i < ROOM_LOOKS && !s_bWorkersStuck; ++i) {
        usleep(ROOM_WAIT_MS * 1000 / ROOM_LOOKS);
        if (Store(slot)) return true;
    }
    s_bWorkersStuck = true;
    return false;
}

// The workers are too far behind.
bool AnswerUnjudged(const tagQueueReceiver& receiver, const tagPacketSlot& slot) {
    uint32_t nId = 0;
    if (RunQueueMessages(slot.message, slot.nMessageLen, receiver.nPortId, GetQueuedPacketId, &nId) < 0) {
        return false;
    }
    if (g_bLiveTraffic == 1) {
        CountTraffic(COUNT_UNJUDGED_STORE_FULL);
        SendVerdict(receiver, nId, NF_ACCEPT);
        return true;
    }
    SendVerdict(receiver, nId, NF_DROP);
    sleep(1);
    return true;
}
}  // namespace
