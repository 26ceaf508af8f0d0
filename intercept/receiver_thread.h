// The queue receiver: reads queue messages from its channel into the packet store, and answers for itself,
// with a drop and a pause of a second, when the store is full.
//
// With LiveTraffic 1 it judges packets itself while that is quick (judging_cost.h, receiver_watch.h). A full
// store makes it wait as long as the workers get on, and the kernel keeps what comes meanwhile; when they do
// not, it accepts the packet and goes on. It then survives that the kernel had no room for messages, and its
// answers to single verdicts; both are counted.
#pragma once

#include "intercept/queue_channel.h"

struct tagPacketSlot;

constexpr int NUM_QUEUE_RECEIVERS = 1;

// Receiver i serves queue number nQueueNum of the configuration + i. Written by the main thread.
extern tagQueueReceiver g_QueueReceivers[NUM_QUEUE_RECEIVERS];

// The receiver that serves a queue number found in a slot.
tagQueueReceiver& ReceiverOfQueue(uint32_t nQueueNum);

// Opens the channel of a receiver whose queue number is set, and creates its thread, which inherits the
// caller's signal mask. 0, the channel's result, or the error number of pthread_create. Main thread.
int StartQueueReceiver(tagQueueReceiver& receiver);

// Receives the message that waits, if one does, and stores it for the workers, or answers it, in the place of
// the receiver (receiver_watch.h). `slot` is the caller's room for the message. False when the channel can no
// longer be used. A worker.
bool HandOffWaiting(const tagQueueReceiver& receiver, tagPacketSlot& slot);

// Waits until every receiver has announced its end. Main thread; signal handlers run meanwhile, while this
// thread holds no lock, and may stop and join the receivers themselves.
void AwaitQueueReceivers();

// Joins the receivers. Main thread, with the control signals blocked: a join takes locks of the C library
// that a handler would take as well.
void JoinQueueReceivers();

// Cancels and joins the receivers and closes their channels; while workers may still answer on a channel, its
// closing is left to StopWorkerThreads. Main thread, also from a signal handler. Safe on receivers that never
// started or have ended.
void StopQueueReceivers();

// Closes the channels of receivers that do not run. No worker may be alive. Main thread.
void CloseIdleChannels();
