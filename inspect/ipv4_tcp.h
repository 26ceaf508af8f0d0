// Dissection of a queued packet: IPv4 (RFC 791) carrying TCP (RFC 9293), both checksums right.
//
// Fragments are not put together and no stream is reassembled: the packet stands for itself. Works on its
// arguments only; any worker.
#pragma once

#include "inspect/web_request.h"
#include "intercept/packet_info.h"

// Takes pPacket and nPacketLen and fills addresses, ports, numbers, checksums, nIPHeaderLen, pData and
// nDataLen. The lengths follow nPacketLen, not the header's total length. pData leads into the packet; after
// a success it and nDataLen lie inside, and the packet holds a whole TCP header behind nIPHeaderLen.
//
// The TCP checksum is not looked at when bNoTCPChecksum says that there is none yet, or bCut that not all it
// covers is there.
//
// Returns 0; 2 when an argument is null; -1 for a packet that is rejected, which leaves some fields written:
// shorter than 32 bytes, not TCP, a header shorter than 20 bytes or reaching behind the packet, a wrong
// checksum. The record is not touched.
int ParseIPv4TCP(tagPacketInfo* pPacket, const tagWebRequest* pRequest);
