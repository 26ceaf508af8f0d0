// The checks of a request against the user's lists, and how a list entry is compared with a host or a URL.
// Addresses have rules of their own (policy/addr_match.h), built-in patterns too (policy/pattern_match.h).
//
// Any worker, inside its own lock. The lists do not change meanwhile, but for the address match, which may
// replace them all once. Each check returns 0 when it ran and writes nResult only when it found something.
#pragma once

#include <cstdint>
#include <string_view>

#include "inspect/web_request.h"
#include "policy/policy_state.h"

// Address, host name and URL against the block lists, in this order: RESULT_BLOCK_HOST, _HOST, _URL.
// Returns 6, nothing tested, while g_bCustomBlockList is 0.
int CheckBlockLists(tagWebRequest* pRequest);

// The same on the allow side: RESULT_ALLOW_HOST, _HOST, _URL. Has no switch of its own.
int CheckAllowLists(tagWebRequest* pRequest);

// szCheckURL against the trusted sites: RESULT_EXCLUDED.
int CheckTrustedSites(tagWebRequest* pRequest);

// Sets *pFound to 1 when an entry equals the URL, or does so without its leading "www." (in any case) while
// the URL does not begin with "www"; else to 0. Case-sensitive but for the "www". Returns 0, or 2 when szURL
// or pFound is null.
int MatchURLList(const char* szURL, const tagListEntry* pList, uint8_t* pFound);

// Sets *pFound to 1 when an entry covers the host, else to 0. An entry with a leading "." covers every host
// that ends in it, with or without that "." or a leading ".www." (case-sensitive); any other entry covers the
// host of that name with and without "www.", in any case. Returns 0, or 2 when szHost is null.
int MatchHostList(const char* szHost, const tagListEntry* pList, uint8_t* pFound);

// The first entry in order that covers the host, or matches the URL, as above; null without one. Asked of the
// list's index where there is one, else found by walking.
const tagListEntry* FirstHostEntry(std::string_view host, const tagListEntry* pList);
const tagListEntry* FirstURLEntry(std::string_view url, const tagListEntry* pList);

// 0 when the texts are equal, 1 when szEntry is a proper tail of szText, else -1. Case-sensitive. An empty
// entry is no tail of anything: -1.
int CompareTail(const char* szText, const char* szEntry);
