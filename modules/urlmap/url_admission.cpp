#include "modules/urlmap/url_admission.h"

#include <libpsl.h>

#include <algorithm>

#include "common/ascii.h"

namespace {

constexpr size_t NAME_MAX_BYTES = 253;  // RFC 1035 2.3.4, without the root's dot
constexpr size_t LABEL_MAX_BYTES = 63;

std::string_view DropWildcardLabel(std::string_view text);
bool IsAddressRange(std::string_view text);
int JudgeAddress(const tagCanonicalURL& url);
int JudgeName(const tagSuffixList& suffixes, const tagCanonicalURL& url);
bool AreLabelsValid(std::string_view host);
int JudgePath(const tagCanonicalURL& url);

constexpr bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsASCII(std::string_view text) {
    return std::none_of(text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; });
}

bool HasOnly(std::string_view text, std::string_view characters) {
    return text.find_first_not_of(characters) == std::string_view::npos;
}

}  // namespace

int LoadSuffixList(tagSuffixList* pList) {
    pList->pList = psl_latest(nullptr);
    pList->bOwn = pList->pList != nullptr;
    if (!pList->pList) pList->pList = const_cast<psl_ctx_t*>(psl_builtin());
    return pList->pList != nullptr;
}

void FreeSuffixList(tagSuffixList* pList) {
    if (pList->bOwn) psl_free(pList->pList);
    *pList = {};
}

int AdmitURL(const tagSuffixList& suffixes, std::string_view text, tagCanonicalURL* pURL) {
    text = TrimBlanks(text);
    if (text.empty()) return ADMIT_EMPTY;
    if (HasOnly(text, "*.:/?")) return ADMIT_EVERYTHING;
    if (IsAddressRange(text)) return ADMIT_RANGE;
    switch (CanonicaliseURL(DropWildcardLabel(text), pURL)) {
        case CANONICAL_OK:
            break;
        case CANONICAL_NO_HOST:
            return ADMIT_EMPTY;
        case CANONICAL_TOO_LONG:
            return ADMIT_TOO_LONG;
        case CANONICAL_SCHEME:
            return ADMIT_SCHEME;
        default:
            return ADMIT_NOT_A_NAME;
    }
    const int nHost = pURL->bAddress ? JudgeAddress(*pURL) : JudgeName(suffixes, *pURL);
    return nHost != ADMIT_OK ? nHost : JudgePath(*pURL);
}

const char* AdmissionText(int nAdmission) {
    switch (nAdmission) {
        case ADMIT_OK:
            return "accepted";
        case ADMIT_EMPTY:
            return "names no host";
        case ADMIT_EVERYTHING:
            return "would stand for every site";
        case ADMIT_SINGLE_LABEL:
            return "is a single label, not a site";
        case ADMIT_PUBLIC_SUFFIX:
            return "is a public suffix: unrelated sites stand below it";
        case ADMIT_RANGE:
            return "is a range of addresses";
        case ADMIT_SPECIAL:
            return "is an address that no site has";
        case ADMIT_NOT_A_NAME:
            return "is no valid host name or IPv4 address";
        case ADMIT_SCHEME:
            return "has a scheme other than http, https or ftp";
        case ADMIT_TOO_LONG:
            return "is longer than a request can be";
        case ADMIT_COLON:
            return "has a colon in its path or query, where requests are cut";
        case ADMIT_PORT_PATH:
            return "has a path at a port of its own, which requests do not show";
        case ADMIT_FOREIGN_NAME:
            return "is a name outside ASCII, for which no client asks: write it as xn--...";
        case ADMIT_FOREIGN_PATH:
            return "has a path or query outside ASCII: write the bytes as %XX";
        default:
            return "cannot be used";
    }
}

namespace {

std::string_view DropWildcardLabel(std::string_view text) {
    if (text.starts_with("*.")) return text.substr(2);
    return text.starts_with('.') ? text.substr(1) : text;
}

// Prefix length or mask, first and last address, wildcards, and addresses with parts missing. With a scheme
// in front the same text is a URL.
bool IsAddressRange(std::string_view text) {
    constexpr std::string_view RANGE_HOST = "0123456789.-*";
    const std::string_view host = text.substr(0, text.find('/'));
    if (!HasOnly(host, RANGE_HOST)) return false;
    const std::string_view mask = text.substr(host.size());
    const auto nDots = std::count(host.begin(), host.end(), '.') - (host.ends_with('.') ? 1 : 0);
    return host.find_first_of("-*") != std::string_view::npos || nDots < 3 ||
           (mask.size() > 1 && HasOnly(mask.substr(1), "0123456789."));
}

int JudgeAddress(const tagCanonicalURL& url) {
    // Decimal parts now: the first one tells "this network", loopback, and multicast with all behind it.
    unsigned nFirst = 0;
    for (const char* p = url.szText; IsDigit(*p); ++p)
        nFirst = nFirst * 10 + static_cast<unsigned>(*p - '0');
    return nFirst == 0 || nFirst == 127 || nFirst >= 224 ? ADMIT_SPECIAL : ADMIT_OK;
}

int JudgeName(const tagSuffixList& suffixes, const tagCanonicalURL& url) {
    const std::string_view host(url.szText, url.nHost);
    if (!IsASCII(host)) return ADMIT_FOREIGN_NAME;
    if (!AreLabelsValid(host)) return ADMIT_NOT_A_NAME;
    const size_t nLastDot = host.rfind('.');
    if (nLastDot == std::string_view::npos) return ADMIT_SINGLE_LABEL;
    if (IsDigit(host[nLastDot + 1])) return ADMIT_NOT_A_NAME;
    char szHost[CANONICAL_HOST_MAX + 1];
    szHost[host.copy(szHost, CANONICAL_HOST_MAX)] = '\0';
    return psl_is_public_suffix2(suffixes.pList, szHost, PSL_TYPE_ANY) ? ADMIT_PUBLIC_SUFFIX : ADMIT_OK;
}

// Letters, digits, hyphens, underscores (they occur).
bool AreLabelsValid(std::string_view host) {
    if (host.size() > NAME_MAX_BYTES) return false;
    size_t nLabel = 0;
    for (const char c : host) {
        if (c == '.') {
            if (nLabel == 0) return false;
            nLabel = 0;
            continue;
        }
        const bool bValid = (c >= 'a' && c <= 'z') || IsDigit(c) || c == '-' || c == '_';
        if (!bValid || ++nLabel > LABEL_MAX_BYTES) return false;
    }
    return nLabel != 0;
}

int JudgePath(const tagCanonicalURL& url) {
    const std::string_view behindHost(url.szText + url.nHost, url.nLength - url.nHost);
    if (!IsASCII(behindHost)) return ADMIT_FOREIGN_PATH;
    if (behindHost.find(':') != std::string_view::npos) return ADMIT_COLON;
    const uint16_t USUAL_PORTS[] = {0, 21, 80, 443};
    const bool bUsual =
        std::find(std::begin(USUAL_PORTS), std::end(USUAL_PORTS), url.nPort) != std::end(USUAL_PORTS);
    return bUsual || behindHost == "/" ? ADMIT_OK : ADMIT_PORT_PATH;
}

}  // namespace
