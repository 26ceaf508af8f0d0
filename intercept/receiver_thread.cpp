#include "intercept/receiver_thread.h"

#include <linux/netfilter.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "common/traffic_counters.h"
#include "intercept/packet_store.h"
#include "intercept/queue_attributes.h"
#include "intercept/thread_life.h"
#include "intercept/worker_thread.h"
#include "service/service_config.h"

tagQueueReceiver g_QueueReceivers[NUM_QUEUE_RECEIVERS];

namespace {
void* QueueReceiverThread(void* pArgument);
void MarkReceiverEnded(void* pArgument);
void ReceivePackets(tagQueueReceiver& receiver);
bool IsOverrun(ssize_t nReceived);
bool HandOff(const tagQueueReceiver& receiver, const tagPacketSlot& slot);
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
    if (g_bLiveTraffic == 1) (void)ShareTrafficCounters(TRAFFIC_PAGE_FILE);
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

namespace {
void* QueueReceiverThread(void* pArgument) {
    pthread_cleanup_push(MarkReceiverEnded, pArgument);
    ReceivePackets(*static_cast<tagQueueReceiver*>(pArgument));
    pthread_cleanup_pop(1);
    return nullptr;
}

void MarkReceiverEnded(void* pArgument) {
    auto& receiver = *static_cast<tagQueueReceiver*>(pArgument);
    SetThreadLife(receiver.nLife, THREAD_ENDED);
    sem_post(&receiver.semEnded);
}

// Returns when the channel can no longer be used.
void ReceivePackets(tagQueueReceiver& receiver) {
    static_assert(alignof(tagPacketSlot) >= alignof(nlmsghdr) && offsetof(tagPacketSlot, message) % 4 == 0);
    const size_t nBufferBytes = ReceiveBufferBytes();
    tagPacketSlot slot;
    slot.nQueueNum = receiver.nQueueNum;
    for (;;) {
        const ssize_t nReceived = mnl_socket_recvfrom(receiver.pSocket, slot.message, nBufferBytes);
        if (IsOverrun(nReceived)) continue;
        if (nReceived <= 0) return;
        slot.nMessageLen = static_cast<uint32_t>(nReceived);

        const auto answer =
            g_bLiveTraffic == 1 ? ReadKernelAnswer(slot.message, slot.nMessageLen) : std::nullopt;
        if (!answer) {
            if (!HandOff(receiver, slot)) return;
        } else if (IsChannelLost(answer->nError)) {
            return;
        } else if (answer->nError != 0) {
            CountTraffic(COUNT_VERDICT_LATE);
        }
    }
}

// Whether only messages are missing that the kernel had no room for.
bool IsOverrun(ssize_t nReceived) {
    if (nReceived >= 0 || errno != ENOBUFS || g_bLiveTraffic != 1) return false;
    CountTraffic(COUNT_KERNEL_OVERRUN);
    return true;
}

// False when libmnl rejects the message: the channel is then broken.
bool HandOff(const tagQueueReceiver& receiver, const tagPacketSlot& slot) {
    CountTraffic(COUNT_PACKETS);
    pthread_mutex_lock(&g_PacketStoreLock);
    const int nPushed = PacketStorePush(g_PacketStore, slot);
    CountStoreDepth(g_PacketStore);
    pthread_mutex_unlock(&g_PacketStoreLock);
    if (nPushed != 0) return AnswerUnjudged(receiver, slot);
    sem_post(&g_PacketStoreSem);
    return true;
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
