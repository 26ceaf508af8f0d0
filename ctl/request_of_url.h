// From a URL, as somebody types it into a browser, to the inspection record that the daemon would make of the
// packet that the browser then sends: the packet's data are put together and given to the daemon's own
// detection, extraction and URL building.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inspect/web_request.h"

struct tagURLParts {
    std::string scheme;     // "http", "https" or "ftp"
    std::string authority;  // host, and port if one is named
    std::string host;       // without port
    std::string target;     // path and query, "/" at least
};

// Throws CtlError, naming the URL and why, for a text that is no URL of the three schemes with a host that
// can be reached over IPv4.
tagURLParts SplitURL(const std::string& url);

// The host's IPv4 addresses, network order; empty when it does not resolve.
std::vector<uint32_t> ResolveHost(const std::string& host);

// Fills the record as for a packet to nDstAddr (network order). False when the daemon lets such a packet pass
// without judging it.
bool BuildRequest(const tagURLParts& url, uint32_t nDstAddr, tagWebRequest& request);
