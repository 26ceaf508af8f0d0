// The decision flow: what happens to one queued packet, and the one place where the order of the checks is
// settled. Every failure on the way lets the packet pass.
//
// Runs on four workers at a time, each on its own records and under its own lock, which only the first FTP
// address match gives up on the way (policy/addr_match.h). Whoever replaces lists, switches or tables takes
// all four locks first, so the flow reads them without one.
#pragma once

#include <libmnl/libmnl.h>

#include <cstdint>

#include "inspect/web_request.h"

// mnl_cb_t with a zeroed tagPacketInfo: fills it, and leaves the decision in nVerdict, NF_ACCEPT or NF_DROP.
// A blocked request has then been reported and its client reset. Returns MNL_CB_STOP in every case.
int OnQueuePacket(const nlmsghdr* pMessage, void* pPacketInfo);

// Runs the checks on a request whose nProtocol, szHost and szURL are set; normalises the URL first. Returns
// NF_ACCEPT or NF_DROP; nResult and its companion fields tell which check decided. Writes no report and
// sends nothing.
uint8_t JudgeRequest(tagWebRequest& request);
