// Address entries derived from listed names: a request to a bare address is recognised when a listed name
// leads to that address. Names are asked for one by one with the system's resolver, for as long as it takes;
// numeric texts come in the resolver's order, neither sorted nor freed of doubles.
//
// Called inside the settings load, while no worker is in the decision flow.
#pragma once

#include "policy/policy_state.h"

// Appends the numeric addresses of every host of pHosts (taken without a leading ".") to *ppAddrs. The first
// name that the resolver does not know (EAI_NONAME) ends the walk, any other failure skips its name.
// Returns 0, 2 when pHosts is empty, or 1 when memory runs out (*ppAddrs is then empty).
int ResolveHostList(const tagListEntry* pHosts, tagListEntry** ppAddrs);

// The same for the hosts of URLs: entries without "/" are passed over, any failure skips its entry, and the
// text appended is the address followed by the entry's path, cut to what a node holds. Returns 0, 2 when
// pURLs is empty, or 1 when memory runs out (*ppAddrs is then empty).
int ResolveURLList(const tagListEntry* pURLs, tagListEntry** ppAddrs);
