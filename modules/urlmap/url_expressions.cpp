#include "modules/urlmap/url_expressions.h"

#include <arpa/inet.h>
#include <nettle/sha2.h>
#include <string.h>

#include <algorithm>
#include <span>

#include "common/ascii.h"

namespace {

constexpr size_t PARENT_LABELS_MAX = 5;  // of the longest parent
constexpr size_t PARENT_LABELS_MIN = 2;  // a single label is never a site
constexpr size_t FOLDERS_MAX = 4;        // "/" among them

int TakeScheme(std::string_view* pURL);
int PutHost(std::string_view authority, tagCanonicalURL* pTo);
void FoldNumericHost(tagCanonicalURL* pTo);
int PutPathAndQuery(std::string_view rest, tagCanonicalURL* pTo);
size_t Unescape(std::string_view text, char* pTo);
int HexDigit(char c);
bool IsUnreserved(char c);
size_t HostStarts(const tagCanonicalURL& url, std::span<uint16_t, URL_HOSTS_MAX> starts);
size_t PathEnds(tagCanonicalURL* pURL, std::span<uint16_t, URL_PATHS_MAX> ends);

}  // namespace

int CanonicaliseURL(std::string_view url, tagCanonicalURL* pTo) {
    url = url.substr(0, url.find('#'));
    if (const int nFailed = TakeScheme(&url)) return nFailed;
    const size_t nAuthority = std::min(url.find_first_of("/?"), url.size());
    if (const int nFailed = PutHost(url.substr(0, nAuthority), pTo)) return nFailed;
    return PutPathAndQuery(url.substr(nAuthority), pTo);
}

uint64_t URLKey(std::string_view expression) {
    uint8_t digest[sizeof(uint64_t)];
    sha256_ctx context;
    sha256_init(&context);
    sha256_update(&context, expression.size(), reinterpret_cast<const uint8_t*>(expression.data()));
    sha256_digest(&context, sizeof digest, digest);
    uint64_t nKey = 0;
    for (const uint8_t b : digest)
        nKey = nKey << 8 | b;
    return nKey;
}

uint32_t MakeURLKeys(std::string_view url, tagURLKeys* pKeys) {
    pKeys->nCount = 0;
    tagCanonicalURL canonical;
    if (CanonicaliseURL(url.substr(0, REQUEST_URL_MAX), &canonical) != CANONICAL_OK) return 0;
    uint16_t starts[URL_HOSTS_MAX];
    uint16_t ends[URL_PATHS_MAX];
    const size_t nStarts = HostStarts(canonical, starts);
    const size_t nEnds = PathEnds(&canonical, ends);
    for (size_t h = 0; h < nStarts; ++h) {
        for (size_t p = 0; p < nEnds; ++p) {
            const std::string_view expression(canonical.szText + starts[h], ends[p] - starts[h]);
            pKeys->nKeys[pKeys->nCount++] = URLKey(expression);
        }
    }
    return pKeys->nCount;
}

namespace {

// Drops the scheme. A text without one is taken as it is; "host:80" has none.
int TakeScheme(std::string_view* pURL) {
    const size_t nScheme = pURL->find("://");
    if (nScheme == std::string_view::npos || pURL->find_first_of("/?.") < nScheme) return CANONICAL_OK;
    for (const std::string_view known : {"http", "https", "ftp"}) {
        if (!EqualNoCase(pURL->substr(0, nScheme), known)) continue;
        pURL->remove_prefix(nScheme + 3);
        return CANONICAL_OK;
    }
    return CANONICAL_SCHEME;
}

int PutHost(std::string_view authority, tagCanonicalURL* pTo) {
    authority.remove_prefix(authority.rfind('@') + 1);  // npos + 1 is 0
    if (authority.starts_with('[')) return CANONICAL_HOST;
    std::string_view host = authority.substr(0, authority.find(':'));
    uint32_t nPort = 0;
    for (size_t n = host.size() + 1; n < authority.size() && nPort < 6554; ++n) {
        if (authority[n] < '0' || authority[n] > '9') break;
        nPort = nPort * 10 + static_cast<uint32_t>(authority[n] - '0');
    }
    while (host.ends_with('.'))
        host.remove_suffix(1);
    if (host.empty()) return CANONICAL_NO_HOST;
    if (host.size() > CANONICAL_HOST_MAX) return CANONICAL_TOO_LONG;
    for (size_t n = 0; n < host.size(); ++n) {
        if (static_cast<uint8_t>(host[n]) <= ' ' || host[n] == 0x7F) return CANONICAL_HOST;
        pTo->szText[n] = AsciiLower(host[n]);
    }
    pTo->nPort = static_cast<uint16_t>(std::min(nPort, uint32_t{UINT16_MAX}));
    pTo->nHost = static_cast<uint16_t>(host.size());
    FoldNumericHost(pTo);
    return CANONICAL_OK;
}

// No name ends in a label that begins with a digit; what does may be an address in one of its many forms.
void FoldNumericHost(tagCanonicalURL* pTo) {
    pTo->bAddress = 0;
    pTo->szText[pTo->nHost] = '\0';
    const std::string_view host(pTo->szText, pTo->nHost);
    const char cLast = host[host.rfind('.') + 1];
    in_addr address;
    if (cLast < '0' || cLast > '9' || inet_aton(pTo->szText, &address) == 0) return;
    (void)inet_ntop(AF_INET, &address, pTo->szText, INET_ADDRSTRLEN);
    pTo->nHost = static_cast<uint16_t>(strlen(pTo->szText));
    pTo->bAddress = 1;
}

// The text behind the host: nothing, "/path", "/path?query" or "?query".
int PutPathAndQuery(std::string_view rest, tagCanonicalURL* pTo) {
    const size_t nQuery = std::min(rest.find('?'), rest.size());
    const std::string_view path = rest.substr(0, nQuery);
    std::string_view query = rest.substr(nQuery);
    while (!query.empty() && (query.back() == '/' || query.back() == '?'))
        query.remove_suffix(1);
    if (pTo->nHost + 1 + path.size() + query.size() > CANONICAL_URL_MAX) return CANONICAL_TOO_LONG;

    char* const pText = pTo->szText;
    size_t nLength = pTo->nHost;
    pText[nLength++] = '/';
    const size_t nPathEnd = nLength + Unescape(path, pText + nLength);
    for (size_t n = nLength; n < nPathEnd; ++n) {
        if (pText[n] != '/' || pText[nLength - 1] != '/') pText[nLength++] = pText[n];
    }
    pTo->nPath = static_cast<uint16_t>(nLength);
    nLength += Unescape(query, pText + nLength);
    pTo->nLength = static_cast<uint16_t>(nLength);
    pText[nLength] = '\0';
    return CANONICAL_OK;
}

// Copies a text with its escapes in canonical form, which is never longer. Returns the length.
size_t Unescape(std::string_view text, char* pTo) {
    size_t nOut = 0;
    for (size_t n = 0; n < text.size(); ++n) {
        const int nHigh = text[n] == '%' && n + 2 < text.size() ? HexDigit(text[n + 1]) : -1;
        const int nLow = nHigh >= 0 ? HexDigit(text[n + 2]) : -1;
        if (nLow < 0) {
            pTo[nOut++] = text[n];
            continue;
        }
        const char cDecoded = static_cast<char>(nHigh << 4 | nLow);
        if (IsUnreserved(cDecoded)) {
            pTo[nOut++] = cDecoded;
        } else {
            for (const char c : {'%', "0123456789ABCDEF"[nHigh], "0123456789ABCDEF"[nLow]})
                pTo[nOut++] = c;
        }
        n += 2;
    }
    return nOut;
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    c = AsciiLower(c);
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

bool IsUnreserved(char c) {
    const char cFolded = AsciiLower(c);
    return (cFolded >= 'a' && cFolded <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == '_' ||
           c == '~';
}

// Where the host and its parents begin, the whole host first.
size_t HostStarts(const tagCanonicalURL& url, std::span<uint16_t, URL_HOSTS_MAX> starts) {
    uint16_t parents[PARENT_LABELS_MAX];  // begin of the last label, of the last two labels, ...
    size_t nParents = 0;
    for (size_t n = url.bAddress ? 0 : url.nHost; n > 1 && nParents < PARENT_LABELS_MAX; --n) {
        if (url.szText[n - 1] == '.') parents[nParents++] = static_cast<uint16_t>(n);
    }
    size_t nStarts = 0;
    starts[nStarts++] = 0;
    while (nParents >= PARENT_LABELS_MIN && nStarts < starts.size())
        starts[nStarts++] = parents[--nParents];
    return nStarts;
}

// Where the paths end, the longest first. A path without a closing slash gets one: the room is there.
size_t PathEnds(tagCanonicalURL* pURL, std::span<uint16_t, URL_PATHS_MAX> ends) {
    uint16_t folders[FOLDERS_MAX];
    size_t nFolders = 0;
    for (uint16_t n = pURL->nHost; n < pURL->nPath && nFolders < FOLDERS_MAX; ++n) {
        if (pURL->szText[n] == '/') folders[nFolders++] = static_cast<uint16_t>(n + 1);
    }
    size_t nEnds = 0;
    if (pURL->nLength > pURL->nPath) {
        ends[nEnds++] = pURL->nLength;
    } else if (pURL->szText[pURL->nPath - 1] != '/') {
        pURL->szText[pURL->nPath] = '/';
        ends[nEnds++] = static_cast<uint16_t>(pURL->nPath + 1);
    }
    if (folders[nFolders - 1] != pURL->nPath) ends[nEnds++] = pURL->nPath;
    while (nFolders > 0)
        ends[nEnds++] = folders[--nFolders];
    return nEnds;
}

}  // namespace
