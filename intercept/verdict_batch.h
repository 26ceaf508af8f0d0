// The verdicts of packets that the receiver judged itself. While more messages wait, they are gathered and go
// to the kernel in one datagram: one system call for all, and who waits for these packets wakes once.
//
// A verdict stays here for as long as one more packet is judged; when that takes long, the worker that
// watches the receiver sends what has been gathered. More of them would save more system calls, but then
// whoever is to answer the first request idles until the last one is judged: measured, two beat one as well
// as eight.
#pragma once

#include "intercept/queue_channel.h"

constexpr uint32_t VERDICT_BATCH = 2;

// Gathers the verdict for a judged packet; the VERDICT_BATCHth sends them all. Receiver.
void GatherVerdict(const tagQueueReceiver& receiver, const tagPacketInfo& packet);

// Sends what was gathered. Receiver, and the worker that watches it.
void SendGatheredVerdicts(const tagQueueReceiver& receiver);
