// From the data of a packet to the request that it makes.
#pragma once

#include "inspect/web_request.h"
#include "intercept/packet_info.h"

// Recognises the protocol of a dissected packet's data, extracts what it asks for and builds the URL, in a
// cleared record. False when there is nothing to judge. Works on its arguments only.
bool BuildRequest(tagPacketInfo& packet, tagWebRequest& request);
