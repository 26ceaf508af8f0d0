// Looks at a list entry before it is stored: what the daemon would skip or could never match is refused, what
// it would read otherwise than it looks is warned of. How it reads an entry is asked of its own parser.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
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

// Why it cannot be taken, with the entry in front ("'x' is empty"): no request could ever match it, or the
// store would not keep it. Empty for a good one. nList is STORE_LIST_*.
std::string WhyBadEntry(int nList, const tagEntry& entry);

// Throws CtlError with that.
void RefuseBadEntry(int nList, const tagEntry& entry);

// The daemon knows http://, https:// and ftp:// in small letters alone; any other text is left as it is.
std::string WithSchemeInSmallLetters(std::string text);

// Whether what stands between scheme and path is such an address, with or without brackets.
bool NamesIPv6Address(std::string_view authority);

// A sentence for each surprise; none for an entry that means what it looks like.
std::vector<std::string> EntryWarnings(int nList, const tagEntry& entry);
