#include "ctl/entry_check.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "common/copy_text.h"
#include "ctl/output.h"
#include "inspect/url_helpers.h"
#include "policy/list_entry.h"

namespace {

constexpr std::array<std::string_view, 3> SCHEMES = {"http://", "https://", "ftp://"};
constexpr size_t MAX_ENTRY_LENGTH = sizeof(tagListEntryBuf::szSource) - 1;

std::string AsItLooks(const tagEntry& entry);
std::string WhyReadOtherwise(std::string_view text);
bool HasCapitalThatCounts(int nList, const tagEntryReading& reading);

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

void RefuseBadEntry(const tagEntry& entry) {
    const auto refuse = [&entry](const std::string& why) {
        throw CtlError("refused: " + Quoted(entry.text) + " " + why);
    };
    if (entry.text.empty()) refuse("is empty");
    if (entry.text.size() == 1) refuse("is a single character, which websec ignores");
    if (entry.text.size() > MAX_ENTRY_LENGTH) {
        refuse("is too long: " + std::to_string(entry.text.size()) + " characters, at most " +
               std::to_string(MAX_ENTRY_LENGTH));
    }
    const auto isBlankOrControl = [](unsigned char c) { return c <= ' ' || c == 0x7F; };
    if (std::any_of(entry.text.begin(), entry.text.end(), isBlankOrControl)) {
        refuse("contains a blank or a control character");
    }
    const tagEntryReading reading = ReadAsDaemon(entry);
    std::string_view host = reading.text;
    if (host.starts_with('.')) host.remove_prefix(1);
    if (host.empty() || host.starts_with('/')) {
        refuse("names no host: websec would read " + Quoted(reading.text));
    }
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
                           ", which no request has; leave the path or --subdomains out");
    }
    if (entry.bSubdomains && IsDottedIPv4(reading.text.c_str() + 1) == 0) {
        warnings.push_back("an address has no sub-domains; it is read as the host " + Quoted(reading.text));
    }
    if (reading.nType == ENTRY_URL && entry.text.starts_with("https://")) {
        warnings.push_back("of an HTTPS request only the host is seen; with a path it matches none");
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
    return warnings;
}

namespace {

// The entry without its scheme and trailing separators: what somebody who typed it expects to be compared.
std::string AsItLooks(const tagEntry& entry) {
    std::string text = entry.text;
    for (const auto scheme : SCHEMES) {
        if (!text.starts_with(scheme)) continue;
        text.erase(0, scheme.size());
        break;
    }
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
        return "; the only schemes are http://, https:// and ftp://, in small letters";
    }
    if (text.find(':', bKnown ? nScheme + 3 : 0) == text.npos) return "";
    return text.starts_with("ftp://") ? "; a port is left out"
                                      : "; a ':' and all that follows it are left out";
}

// A host that is compared as a whole is compared without regard to case; everything else is not.
bool HasCapitalThatCounts(int nList, const tagEntryReading& reading) {
    if (nList != STORE_LIST_TRUST && reading.nType == ENTRY_HOST && reading.text[0] != '.') return false;
    const std::string host = reading.text.substr(0, reading.text.find('/'));
    return std::any_of(host.begin(), host.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
}

}  // namespace
