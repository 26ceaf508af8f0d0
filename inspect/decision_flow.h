// The decision flow: the one place where the order of the checks is settled. Every failure on the way lets
// the request pass.
//
// Runs on four workers at a time, and with LiveTraffic 1 on the receiver, each on its own record and under
// its own lock, which only the first FTP address match gives up on the way (policy/addr_match.h). Whoever
// replaces lists, switches or tables takes all these locks first, so the flow reads them without one.
#pragma once

#include <cstdint>

#include "inspect/web_request.h"

// Runs the checks on a request whose nProtocol, szHost and szURL are set; normalises the URL first. Returns
// NF_ACCEPT or NF_DROP; nResult and its companion fields tell which check decided. Writes no report and
// sends nothing.
uint8_t JudgeRequest(tagWebRequest& request);
