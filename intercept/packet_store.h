// The hand-off between the queue receiver and the workers: a fixed store of received queue messages, filled
// linearly from slot 0 and starting over only when it has been emptied. With LiveTraffic 1 it is a ring: a
// slot is used again as soon as its message was taken.
//
// The caller holds g_PacketStoreLock around every push and pop, and posts g_PacketStoreSem once per push.
#pragma once

#include <pthread.h>
#include <semaphore.h>

#include <cstdint>

enum { STORE_FULL = 10, STORE_EMPTY = 11 };

constexpr int32_t PACKET_STORE_SLOTS = 500;
// As large as any receive buffer (MNL_SOCKET_BUFFER_SIZE), so that whatever can be received is kept whole.
constexpr uint32_t PACKET_SLOT_BYTES = 8192;

// One received queue message. Only the first nMessageLen bytes are in use, and only they are copied.
struct tagPacketSlot {
    uint32_t nQueueNum;
    uint32_t nMessageLen;  // never more than PACKET_SLOT_BYTES
    uint8_t message[PACKET_SLOT_BYTES];
};

// nHead and nTail are both -1, or both are slots; nHead <= nTail unless it is a ring.
struct tagPacketStore {
    tagPacketSlot slots[PACKET_STORE_SLOTS];
    int32_t nHead;  // oldest message not taken yet
    int32_t nTail;  // newest message
    uint8_t bRing;  // g_bLiveTraffic when it was initialised
};

extern tagPacketStore g_PacketStore;
extern pthread_mutex_t g_PacketStoreLock;
extern sem_t g_PacketStoreSem;

// Empties the store. Returns 0.
int PacketStoreInit(tagPacketStore& store);

// 0, or STORE_FULL: the last slot has been written and not all messages were taken since; in a ring, no slot
// is free.
int PacketStorePush(tagPacketStore& store, const tagPacketSlot& slot);

// 0 with the oldest message in `out`, or STORE_EMPTY (then nothing changes).
int PacketStorePop(tagPacketStore& store, tagPacketSlot& out);

// How many messages wait.
int32_t PacketStoreDepth(const tagPacketStore& store);

// Shows in the traffic counters how many messages wait, and the most that ever did.
void CountStoreDepth(const tagPacketStore& store);

// Destroys lock and semaphore; all threads that use them have been joined.
void DestroyPacketStoreSync();
