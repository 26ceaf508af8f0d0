// The queue receiver: reads queue messages from its channel into the packet store, and answers for itself,
// with a drop and a pause of a second, when the store is full.
#pragma once

#include "intercept/queue_channel.h"

constexpr int NUM_QUEUE_RECEIVERS = 1;

// Receiver i serves queue number nQueueNum of the configuration + i. Written by the main thread.
extern tagQueueReceiver g_QueueReceivers[NUM_QUEUE_RECEIVERS];

// The receiver that serves a queue number found in a slot.
tagQueueReceiver& ReceiverOfQueue(uint32_t nQueueNum);

// Opens the channel of a receiver whose queue number is set, and creates its thread, which inherits the
// caller's signal mask. 0, the channel's result, or the error number of pthread_create. Main thread.
int StartQueueReceiver(tagQueueReceiver& receiver);

// Waits until every receiver has ended by itself. Main thread; signal handlers run meanwhile.
void JoinQueueReceivers();

// Cancels the receivers, waits for their end and closes their channels; while workers may still answer on a
// channel, its closing is left to StopWorkerThreads. Main thread, also from a signal handler that interrupts
// JoinQueueReceivers: the thread is then left to that join, and only its end is waited for. Safe on receivers
// that never started or have ended.
void StopQueueReceivers();

// Closes the channels of receivers that do not run. No worker may be alive. Main thread.
void CloseIdleChannels();
