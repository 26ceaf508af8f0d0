// One way to write a URL, and the expressions under which a list may hold it. Lists are built and asked
// through these operations alone, so that both sides always mean the same.
//
// The canonical text is HOST/PATH or HOST/PATH?QUERY:
// - scheme (http, https, ftp), user, port and fragment are dropped
// - the host's letters A to Z are folded and its trailing dots removed; a numeric host in any form that
//   inet_aton takes becomes four decimal parts; international names are left as they are
// - in path and query a %XX that stands for a letter, a digit or one of -._~ is decoded, once; other escapes
//   get capital hex digits (RFC 3986 6.2.2.1 and 6.2.2.2). Nothing else is decoded, no dot segments are
//   removed: clients do that before they ask
// - several slashes in a row in the path count as one
// - a request reaches the lists without the separators "/", "?" and "#" at its end, so a query loses them
// too,
//   and the query itself when nothing else is in it
//
// The expressions of a URL: its host and up to four parents (the last five to two labels; an address has
// none), each with the path and query, the path alone, and up to four leading folders, each with its slash:
// "/", "/a/", "/a/b/", "/a/b/c/". Since a request for "/a/" may show as "/a", the path "/a" also gives "/a/".
// So a list's "name.example/a/" covers all below that folder, "name.example/a" that one document whatever its
// query, "name.example/" the host with all hosts below it.
//
// Works on its arguments only, allocates nothing; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

constexpr size_t REQUEST_URL_MAX = 1023;    // what a request shows of its URL
constexpr size_t CANONICAL_URL_MAX = 1040;  // with what the form can add: a slash, a longer numeric host
constexpr size_t CANONICAL_HOST_MAX = 255;
constexpr size_t URL_HOSTS_MAX = 5;
constexpr size_t URL_PATHS_MAX = 6;
constexpr size_t URL_EXPRESSIONS_MAX = URL_HOSTS_MAX * URL_PATHS_MAX;

struct tagCanonicalURL {
    char szText[CANONICAL_URL_MAX + 2];  // the canonical text, and room for one slash; NUL-terminated
    uint16_t nHost;                      // length of the host; a slash follows it
    uint16_t nPath;                      // length of host and path
    uint16_t nLength;                    // of all
    uint8_t bAddress;                    // 1: the host is an IPv4 address
    uint16_t nPort;                      // that the text named, 0 for none; not part of the canonical text
};

enum : int {
    CANONICAL_OK = 0,
    CANONICAL_NO_HOST = 1,   // nothing stands where the host should be
    CANONICAL_TOO_LONG = 2,  // host or canonical text longer than the constants above
    CANONICAL_SCHEME = 3,    // another scheme than http, https, ftp
    CANONICAL_HOST = 4,      // the host is an IPv6 address, or holds a blank or a control character
};

// Brings a URL, with scheme or without, into canonical form. On failure *pTo is of no use.
int CanonicaliseURL(std::string_view url, tagCanonicalURL* pTo);

// The key of one expression: the first eight bytes of its SHA-256 (FIPS 180-4), big-endian.
uint64_t URLKey(std::string_view expression);

// The keys of all expressions of one URL: the whole host first, within a host the longest path first.
struct tagURLKeys {
    uint32_t nCount;
    uint64_t nKeys[URL_EXPRESSIONS_MAX];
};

// Computes them, from no more than the URL's first REQUEST_URL_MAX bytes. A URL that has no canonical form
// has no keys (nCount 0). Returns nCount.
uint32_t MakeURLKeys(std::string_view url, tagURLKeys* pKeys);
