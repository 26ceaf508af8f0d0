#include "ctl/entry_check.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

#include "common/ascii.h"
#include "common/copy_text.h"
#include "ctl/output.h"
#include "inspect/url_helpers.h"
#include "modules/store/store_text.h"
#include "modules/urlmap/url_admission.h"
#include "policy/list_entry.h"

namespace {

constexpr std::array<std::string_view, 3> SCHEMES = {"http://", "https://", "ftp://"};
constexpr size_t MAX_ENTRY_LENGTH = sizeof(tagListEntryBuf::szSource) - 1;

std::string WhyBadText(const std::string& text);
std::string WhyBadReading(int nList, const tagEntry& entry);
std::string_view BehindScheme(std::string_view text);
std::string_view AuthorityOf(std::string_view text);
std::string HostOf(const tagEntryReading& reading);
size_t FindNoHostCharacter(std::string_view host);
std::string AsItLooks(const tagEntry& entry);
void WarnOfAddress(const tagEntry& entry, const tagEntryReading& reading, std::vector<std::string>& warnings);
std::string WhyReadOtherwise(std::string_view text);
bool HasCapitalThatCounts(int nList, const tagEntryReading& reading);
bool IsPublicSuffix(const std::string& name);

}  // namespace

tagEntryReading ReadAsDaemon(const tagEntry& entry) {
    tagListEntryBuf buf{};
    CopyText(buf.szSource, entry.text);
    buf.bSubdomains = entry.bSubdomains ? 1 : 0;
    ParseListEntry(buf);
    return {buf.szEntry, buf.nEntryType};
}

const char* EntryTypeName(uint8_t nType) {
    return nType == ENTRY_URL ? "URL" : nType == ENTRY_ADDRESS ? "address" : "host";
}

std::string WhyBadEntry(int nList, const tagEntry& entry) {
    const std::string why = WhyBadText(entry.text);
    return why.empty() ? WhyBadReading(nList, entry) : why;
}

void RefuseBadEntry(int nList, const tagEntry& entry) {
    const std::string why = WhyBadEntry(nList, entry);
    if (!why.empty()) throw CtlError("refused: " + why);
}

std::vector<std::string> EntryWarnings(int nList, const tagEntry& entry) {
    const tagEntryReading reading = ReadAsDaemon(entry);
    std::vector<std::string> warnings;
    if (reading.text != AsItLooks(entry)) {
        warnings.push_back("it is read as the " + std::string(EntryTypeName(reading.nType)) + " " +
                           Quoted(reading.text) + WhyReadOtherwise(entry.text));
    }
    if (entry.text.find('*') != std::string::npos) {
        warnings.push_back("lists know no wildcards; '*' stands for itself");
    }
    if (entry.bSubdomains && reading.nType == ENTRY_URL) {
        warnings.push_back("with sub-domains it is read as the URL " + Quoted(reading.text) +
                           ", which only requests to the addresses behind it have; leave the path or "
                           "--subdomains out");
    }
    WarnOfAddress(entry, reading, warnings);
    if (reading.nType == ENTRY_URL && entry.text.starts_with("https://")) {
        warnings.push_back("of an HTTPS request only the host is seen; with a path it matches none");
    }
    if (reading.text.find('#') != std::string::npos) {
        warnings.push_back(
            "browsers keep a '#' and what follows it to themselves; it matches FTP files only");
    }
    if (HasCapitalThatCounts(nList, reading)) {
        warnings.push_back(
            "capitals are compared as they stand here; browsers ask for hosts in small letters");
    }
    const auto isOutsideASCII = [](unsigned char c) { return c >= 0x80; };
    if (std::any_of(reading.text.begin(), reading.text.end(), isOutsideASCII)) {
        warnings.push_back(
            "browsers send hosts outside ASCII as xn--... and paths as %XX, which it does not match");
    }
    if (reading.nType == ENTRY_HOST && reading.text.starts_with('.')) {
        const std::string name = reading.text.substr(1);
        warnings.push_back("also covers hosts such as x" + name + " that end in " + name);
        if (IsPublicSuffix(name)) {
            warnings.push_back(
                "it is a top-level domain or another public suffix: unrelated sites stand below it");
        }
    }
    return warnings;
}

bool NamesIPv6Address(std::string_view authority) {
    return authority.starts_with('[') || std::count(authority.begin(), authority.end(), ':') > 1;
}

std::string WithSchemeInSmallLetters(std::string text) {
    const size_t nScheme = std::min(text.find("://"), text.size());
    std::string small = text;
    std::transform(small.begin(), small.begin() + static_cast<ptrdiff_t>(nScheme), small.begin(),
                   AsciiLower<char>);
    return BehindScheme(small).size() == small.size() ? text : small;
}

namespace {

// Each with the entry in front, or empty.
std::string WhyBadText(const std::string& text) {
    const std::string shown = Quoted(text);
    if (text.empty()) return shown + " is empty";
    if (text.size() == 1) return shown + " is a single character, which websec ignores";
    if (text.size() > MAX_ENTRY_LENGTH) {
        return shown + " is too long: " + std::to_string(text.size()) + " characters, at most " +
               std::to_string(MAX_ENTRY_LENGTH);
    }
    const auto isBlankOrControl = [](unsigned char c) { return c <= ' ' || c == 0x7F; };
    if (std::any_of(text.begin(), text.end(), isBlankOrControl)) {
        return shown + " contains a blank or a control character";
    }
    if (!IsPlainText(text)) return shown + " contains a control character, or is no UTF-8";
    const std::string_view authority = AuthorityOf(text);
    if (authority.find('@') != authority.npos) return shown + " holds a user name, which no request shows";
    if (NamesIPv6Address(authority)) return shown + " names an IPv6 address; websec sees IPv4 only";
    return "";
}

std::string WhyBadReading(int nList, const tagEntry& entry) {
    const std::string shown = Quoted(entry.text);
    const tagEntryReading reading = ReadAsDaemon(entry);
    const std::string host = HostOf(reading);
    if (host.empty()) return shown + " names no host: websec would read " + Quoted(reading.text);
    if (host.find_first_not_of("0123456789.") == host.npos && IsDottedIPv4(host.c_str()) != 0) {
        return shown + " is not an IPv4 address";
    }
    if (const size_t nWrong = FindNoHostCharacter(host); nWrong != host.npos) {
        return shown + " holds " + Quoted(host.substr(nWrong, 1)) + ", which no host name has" +
               (host[nWrong] == '*' ? "; --subdomains covers all below a domain" : "");
    }
    if (nList == STORE_LIST_TRUST && reading.text.starts_with('.')) {
        return shown + " begins with a dot, but trust is for single URLs and covers no sub-domains";
    }
    return "";
}

std::string_view BehindScheme(std::string_view text) {
    for (const auto scheme : SCHEMES) {
        if (text.starts_with(scheme)) return text.substr(scheme.size());
    }
    return text;
}

std::string_view AuthorityOf(std::string_view text) {
    text = BehindScheme(text);
    return text.substr(0, text.find('/'));
}

std::string HostOf(const tagEntryReading& reading) {
    std::string host = reading.text.substr(0, reading.text.find('/'));
    if (host.starts_with('.')) host.erase(0, 1);
    return host;
}

// Of a character that stands in no host of a request, or npos. Bytes outside ASCII pass: some clients send
// names as they are typed.
size_t FindNoHostCharacter(std::string_view host) {
    const auto isWrong = [](unsigned char c) {
        return c < 0x80 && !std::isalnum(c) && c != '-' && c != '.' && c != '_';
    };
    const auto found = std::find_if(host.begin(), host.end(), isWrong);
    return found == host.end() ? host.npos : static_cast<size_t>(found - host.begin());
}

void WarnOfAddress(const tagEntry& entry, const tagEntryReading& reading,
                   std::vector<std::string>& warnings) {
    const std::string host = HostOf(reading);
    const in_addr address{inet_addr(host.c_str())};
    if (address.s_addr == INADDR_NONE) return;
    char szPlain[INET_ADDRSTRLEN] = {};
    (void)inet_ntop(AF_INET, &address, szPlain, sizeof szPlain);
    if (host != szPlain) {
        warnings.push_back("addresses are compared as text and requests carry " + Quoted(szPlain));
    }
    if (entry.bSubdomains && reading.nType == ENTRY_HOST) {
        warnings.push_back("an address has no sub-domains; it is read as the host " + Quoted(reading.text));
    }
    const size_t nSlash = reading.text.find('/');
    if (nSlash != std::string::npos &&
        reading.text.find_first_not_of("0123456789.", nSlash + 1) == std::string::npos) {
        warnings.push_back("lists know no ranges of addresses: it is read as the one page http://" +
                           reading.text + "; give each address an entry of its own");
    }
}

// The entry without its scheme and trailing separators: what somebody who typed it expects to be compared.
std::string AsItLooks(const tagEntry& entry) {
    std::string text(BehindScheme(entry.text));
    if (entry.bSubdomains && !text.starts_with('.')) text.insert(0, 1, '.');
    const size_t nLast = text.find_last_not_of("/?#");
    text.resize(nLast == text.npos ? 1 : nLast + 1);
    return text;
}

std::string WhyReadOtherwise(std::string_view text) {
    const size_t nScheme = text.find("://");
    const bool bKnown =
        std::any_of(SCHEMES.begin(), SCHEMES.end(), [text](auto s) { return text.starts_with(s); });
    if (nScheme != text.npos && !bKnown) {
        return "; the only schemes are http://, https:// and ftp://";
    }
    if (text.find(':', bKnown ? nScheme + 3 : 0) == text.npos) return "";
    return text.starts_with("ftp://") ? "; a port is left out"
                                      : "; a ':' and all that follows it are left out";
}

// A host that is compared as a whole is compared without regard to case; everything else is not.
bool HasCapitalThatCounts(int nList, const tagEntryReading& reading) {
    if (nList != STORE_LIST_TRUST && reading.nType == ENTRY_HOST && reading.text[0] != '.') return false;
    const std::string host = HostOf(reading);
    return std::any_of(host.begin(), host.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
}

bool IsPublicSuffix(const std::string& name) {
    tagSuffixList suffixes = {};
    if (!LoadSuffixList(&suffixes)) return false;
    tagCanonicalURL url;
    const int nAdmission = AdmitURL(suffixes, name, &url);
    FreeSuffixList(&suffixes);
    return nAdmission == ADMIT_PUBLIC_SUFFIX || nAdmission == ADMIT_SINGLE_LABEL;
}

}  // namespace
