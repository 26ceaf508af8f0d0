// Finds the web categories of one request, for the blocked-category check: from the engine library, or in
// server mode from the category server on this host (category_server_protocol.h).
#pragma once

#include <cstdint>

#include "inspect/web_request.h"

// Looks up szHost and szURL. In the library modes nCategoryIds and nCategoryCount hold what the library
// wrote; in server mode szCategories holds one logical id in decimal.
//   0    there are categories
//   -1   none to use: no protection asks for them, or the library or the server failed; in server mode also
//        when the exchange took longer than CATSERVER_TIMEOUT_MS
//   2    pRequest is null
// Any worker, all at once; may be cancelled.
int LookupURLCategories(tagWebRequest* pRequest);

// The exchange of server mode with the server at a port of this host: 0 or -1 as above. A server that refuses
// leaves szCategories as it was; one that closes without an answer counts as answering real id 0.
int AskCategoryServer(tagWebRequest& request, uint16_t nPort);
