// Looks at a list entry before it is stored: what the daemon would skip or could never match is refused, what
// it would read otherwise than it looks is warned of. How it reads an entry is asked of its own parser.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ctl/settings_store.h"

// What the daemon makes of an entry.
struct tagEntryReading {
    std::string text;
    uint8_t nType;  // ENTRY_HOST, ENTRY_ADDRESS, ENTRY_URL
};
tagEntryReading ReadAsDaemon(const tagEntry& entry);

// "host", "address" or "URL".
const char* EntryTypeName(uint8_t nType);

// Throws CtlError that names the entry and why it cannot be taken: no request could ever match it. nList is
// STORE_LIST_*.
void RefuseBadEntry(int nList, const tagEntry& entry);

// A sentence for each surprise; none for an entry that means what it looks like.
std::vector<std::string> EntryWarnings(int nList, const tagEntry& entry);
