// The activity report of a blocked request: one typed record for libdbmod.so (when it is loaded) and one
// client record for clrptmod.so, laid out as report/report_records.h says.
#pragma once

#include <cstdint>

#include "inspect/web_request.h"
#include "intercept/packet_info.h"

// Reports a request whose nResult says why it was blocked, under the owner of the packet's connection or else
// the session user. What the two stores answer is not looked at.
// Returns 0, or 6 when reports are switched off (nothing is written).
// Any worker, several at once; cancellation is off meanwhile.
uint32_t WriteBlockReport(tagWebRequest* pRequest, tagPacketInfo* pPacket);

// Hands one record to clrptmod.so: nType 3 with a ClientReportRecord. Returns the store's own answer; what it
// writes to *pStatus is the store's affair.
uint16_t InsertReport(uint32_t nType, void* pRecord, uint32_t* pStatus);
