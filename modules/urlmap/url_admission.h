// What an imported line may name. One line can never stand for a whole public suffix, a range of addresses or
// everything, and what no request can ever match is refused as well, so that the importer can say so.
//
// Public suffixes are those of publicsuffix.org, both sections ("co.uk" and "github.io"), as libpsl reads
// them from Debian's package publicsuffix or, without it, from its own copy. A URL on such a host is
// refused as well, whatever its path.
#pragma once

#include <string_view>

#include "modules/urlmap/url_expressions.h"

struct psl_ctx_st;

// Loaded once for an import. Zeroed: not loaded.
struct tagSuffixList {
    psl_ctx_st* pList;
    uint8_t bOwn;  // 1: to be freed
};

// 1 when a list is there, else 0 (no memory).
int LoadSuffixList(tagSuffixList* pList);
void FreeSuffixList(tagSuffixList* pList);

enum : int {
    ADMIT_OK = 0,
    ADMIT_EMPTY = 1,          // no host
    ADMIT_EVERYTHING = 2,     // "*", ".", "*.*" and the like: a wildcard where the name should be
    ADMIT_SINGLE_LABEL = 3,   // "com", "localhost"
    ADMIT_PUBLIC_SUFFIX = 4,  // "co.uk"
    ADMIT_RANGE = 5,          // "10.0.0.0/8", "10.0.0.1-10.0.0.9"
    ADMIT_SPECIAL = 6,        // an address that is no site: 0.0.0.0, loopback, multicast, broadcast
    ADMIT_NOT_A_NAME = 7,     // no valid host name or IPv4 address, or a label or the whole is too long
    ADMIT_SCHEME = 8,         // another scheme than http, https, ftp
    ADMIT_TOO_LONG = 9,       // longer than any request
    ADMIT_COLON = 10,         // a colon behind the host: a request is cut there, so this never matches
    ADMIT_PORT_PATH = 11,     // a path at a port of its own: a request with a port shows no path
    ADMIT_FOREIGN_NAME = 12,  // a host outside ASCII: clients ask for its xn-- form (RFC 5891)
    ADMIT_FOREIGN_PATH = 13,  // bytes outside ASCII behind the host: requests are cut there
};

// Judges one name or URL and brings it into canonical form (the expression to store is its szText). A leading
// "*." or "." is dropped: hosts below a name are always covered.
// *pURL is of use with ADMIT_OK alone.
int AdmitURL(const tagSuffixList& suffixes, std::string_view text, tagCanonicalURL* pURL);

// Why, for people: an English text without a full stop. Never null.
const char* AdmissionText(int nAdmission);
