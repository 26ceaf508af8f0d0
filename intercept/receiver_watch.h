// The receiver at work, and who looks after it. With LiveTraffic 1 the receiver judges quick packets itself.
// So that one which takes long holds up no other, an idle worker watches: when the receiver is still at the
// same packet after two looks, that worker reads the queue in its place until it gets on. Without a watcher
// the receiver hands everything to the workers, the first of which to be idle again becomes the watcher.
//
// A watcher looks every RECEIVER_WATCH_MS, or up to as much later, while packets come, and sleeps like the
// others when none do.
#pragma once

#include "intercept/packet_store.h"

constexpr int RECEIVER_WATCH_MS = 5;

// Around each packet that the receiver judges itself. False when nobody watches: it must not, then, and
// nothing is begun. Receiver.
bool BeginOwnJudging();
void EndOwnJudging();

// Waits until there may be a message in the store; with LiveTraffic 1 it watches meanwhile if nobody does.
// `slot` is for what it reads in the receiver's place. Worker; may be cancelled here.
void AwaitStoredMessage(tagPacketSlot& slot);
