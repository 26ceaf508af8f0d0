// Requests whose host is a numeric address, against the address entries of the block or the allow side.
//
// Any worker, inside its own lock.
#pragma once

#include "inspect/web_request.h"
#include "policy/policy_state.h"

// Walks g_pAllowAddrList when bAllowListPass is 1, else g_pBlockAddrList. An entry hits an FTP request when
// it occurs anywhere in szCheckURL, any other request when it equals szCheckURL; case does not matter. A hit
// sets nResult to RESULT_ALLOW_HOST or RESULT_BLOCK_HOST. Returns 0. The first FTP request replaces switches,
// categories and all lists on its way: hold no pointer into them.
int MatchAddrList(tagWebRequest* pRequest);

// The first entry in order that hits the request, or null. Asked of the list's index where there is one, else
// found by walking.
const tagListEntry* FirstAddrEntry(const tagWebRequest& request, const tagListEntry* pList);
