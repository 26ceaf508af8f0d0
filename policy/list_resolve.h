// Address entries derived from listed names: a request to a bare address is recognised when a listed name
// leads to that address. The names of a list are asked for at the same time (policy/ask_names.h); numeric
// texts come in the order of the names and, for each, of the resolver, neither sorted nor freed of doubles.
//
// Called where lists are made (policy/settings_load.h); not to be cancelled meanwhile.
#pragma once

#include "policy/policy_state.h"

// Appends the numeric addresses of every host of pHosts (taken without a leading ".") to *ppAddrs. At the
// first name that the resolver does not know (EAI_NONAME) the list ends, any other failure skips its name.
// Returns 0, 2 when pHosts is empty, or 1 when memory runs out: for asking (*ppAddrs is kept as it was) or
// for an answer (*ppAddrs is emptied).
int ResolveHostList(const tagListEntry* pHosts, tagListEntry** ppAddrs);

// The same for the hosts of URLs: entries without "/" are passed over, any failure skips its entry, and the
// text appended is the address followed by the entry's path, cut to what a node holds. Returns 0, 2 when
// pURLs is empty, or 1 as above.
int ResolveURLList(const tagListEntry* pURLs, tagListEntry** ppAddrs);
