// Whether the workers still take what is stored. When each of them hangs in a call of a module, what comes
// for them must not wait until they return: with LiveTraffic 1 it passes unjudged.
#pragma once

#include <cstdint>

#include "intercept/packet_store.h"

// Longer than a module may take that keeps to a limit of its own (CATSERVER_TIMEOUT_MS).
constexpr int64_t WORKERS_STOPPED_MS = 3000;
// The most of it that counts between two messages: a daemon that was stopped itself has workers to take what
// came meanwhile.
constexpr int64_t LONGEST_SPAN_MS = 1000;

// A worker looks into the store. The caller holds g_PacketStoreLock.
void NoteWorkerTakes();

// Whether messages have waited for that long while no worker looked for one; from then on until one does. The
// caller holds g_PacketStoreLock and asks before each message that it stores.
bool HaveWorkersStopped(const tagPacketStore& store, int64_t nNowMs);
