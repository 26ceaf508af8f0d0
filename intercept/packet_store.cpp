#include "intercept/packet_store.h"

#include <cstring>

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
    return 0;
}

int PacketStorePush(tagPacketStore& store, const tagPacketSlot& slot) {
    if (store.nTail == PACKET_STORE_SLOTS - 1) return STORE_FULL;
    if (store.nHead == -1) store.nHead = 0;
    CopySlot(store.slots[++store.nTail], slot);
    return 0;
}

int PacketStorePop(tagPacketStore& store, tagPacketSlot& out) {
    if (store.nHead == -1 || store.nHead > store.nTail) return STORE_EMPTY;
    CopySlot(out, store.slots[store.nHead]);
    if (store.nHead == store.nTail) {
        store.nHead = store.nTail = -1;
    } else {
        ++store.nHead;
    }
    return 0;
}

void DestroyPacketStoreSync() {
    pthread_mutex_destroy(&g_PacketStoreLock);
    sem_destroy(&g_PacketStoreSem);
}
