// The file or folder that an FTP command (RFC 959) names, and the server it goes to. Each command stands for
// itself: no folder entered before is remembered. Works on its arguments only, none of them null; any worker.
#pragma once

#include "inspect/web_request.h"
#include "intercept/packet_info.h"

// Fills szPath with the argument behind the first occurrence of the keyword of nMethod (an index into
// FTP_COMMANDS) in the segment's data; an argument of one character gives the empty text, a longer one ends
// at its first blank and is cut to the field. Returns 0.
int ExtractFTPArgument(const tagPacketInfo* pPacket, tagWebRequest* pRequest);

// Fills szHost with nDstAddr in dotted form: the name that the user typed is not seen on this connection.
// Returns 0.
int SetFTPServerHost(const tagPacketInfo* pPacket, tagWebRequest* pRequest);
