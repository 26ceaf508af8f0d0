// What happens to one queued packet, from the queue message to the verdict. Every failure on the way lets it
// pass.
#pragma once

#include <libmnl/libmnl.h>

// mnl_cb_t with a zeroed tagPacketInfo: fills it, and leaves the decision in nVerdict, NF_ACCEPT or NF_DROP.
// A blocked request has then been reported and its client reset. Returns MNL_CB_STOP in every case.
//
// A thread that judges, on its own record and under its own lock (inspect/decision_flow.h).
int OnQueuePacket(const nlmsghdr* pMessage, void* pPacketInfo);
