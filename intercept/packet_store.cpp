#include "intercept/packet_store.h"

#include <cstring>

#include "common/traffic_counters.h"
#include "service/service_config.h"

tagPacketStore g_PacketStore;
pthread_mutex_t g_PacketStoreLock;
sem_t g_PacketStoreSem;

namespace {
void CopySlot(tagPacketSlot& to, const tagPacketSlot& from) {
    to.nQueueNum = from.nQueueNum;
    to.nMessageLen = from.nMessageLen;
    std::memcpy(to.message, from.message, from.nMessageLen);
}
}  // namespace

int PacketStoreInit(tagPacketStore& store) {
    // Messages are only ever read up to their length, so the slots need no clearing.
    store.nHead = -1;
    store.nTail = -1;
    store.bRing = g_bLiveTraffic == 1;
    return 0;
}

int PacketStorePush(tagPacketStore& store, const tagPacketSlot& slot) {
    int32_t nNext = store.nTail + 1;
    if (store.bRing) nNext %= PACKET_STORE_SLOTS;
    if (nNext == PACKET_STORE_SLOTS || nNext == store.nHead) return STORE_FULL;
    if (store.nHead == -1) store.nHead = 0;
    CopySlot(store.slots[nNext], slot);
    store.nTail = nNext;
    return 0;
}

int PacketStorePop(tagPacketStore& store, tagPacketSlot& out) {
    if (store.nHead == -1 || (store.nHead > store.nTail && !store.bRing)) return STORE_EMPTY;
    CopySlot(out, store.slots[store.nHead]);
    if (store.nHead == store.nTail) {
        store.nHead = store.nTail = -1;
    } else {
        store.nHead = (store.nHead + 1) % PACKET_STORE_SLOTS;
    }
    return 0;
}

int32_t PacketStoreDepth(const tagPacketStore& store) {
    if (store.nHead == -1) return 0;
    const int32_t nSpan = store.nTail - store.nHead + 1;
    return nSpan > 0 ? nSpan : nSpan + PACKET_STORE_SLOTS;
}

void CountStoreDepth(const tagPacketStore& store) {
    const auto nDepth = static_cast<uint64_t>(PacketStoreDepth(store));
    SetTraffic(COUNT_STORE_DEPTH, nDepth);
    const auto& nMost = g_pTrafficCounters->counts[COUNT_STORE_DEPTH_MAX];
    if (nDepth > nMost.load(std::memory_order_relaxed)) SetTraffic(COUNT_STORE_DEPTH_MAX, nDepth);
}

void DestroyPacketStoreSync() {
    pthread_mutex_destroy(&g_PacketStoreLock);
    sem_destroy(&g_PacketStoreSem);
}
