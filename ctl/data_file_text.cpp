#include "ctl/data_file_text.h"

#include <arpa/inet.h>

#include <bit>
#include <charconv>
#include <cstring>
#include <optional>
#include <span>

#include "ctl/output.h"
#include "policy/data_file.h"

// Numbers are copied between memory and file as they are.
static_assert(std::endian::native == std::endian::little);

namespace {

// iptables' multiport match takes 15 ports; the daemon's own one stands before these.
constexpr size_t MAX_USEFUL_PORTS = 14;

struct tagLine {
    std::string_view text;
    std::vector<std::string>& warnings;
};

std::string_view StripLine(std::string_view line);
void AppendRecord(const tagDataFileKind& kind, const tagLine& line, Records& records);
void AppendPattern(const tagLine& line, Records& records);
void AppendRange(const tagLine& line, Records& records);
void AppendPort(const tagLine& line, Records& records);
void AppendCategoryStatus(const tagLine& line, Records& records);
void CheckCount(const tagDataFileKind& kind, const Records& records, std::vector<std::string>& warnings);
std::string Unescape(std::string_view text);
std::optional<uint32_t> ParseNumber(std::string_view text, uint32_t nMax, int nBase = 10);
std::optional<uint32_t> ParseAddress(std::string_view text);
std::optional<uint32_t> ParseMask(std::string_view text);
std::string FormatRecord(const tagDataFileKind& kind, std::span<const uint8_t> record);
std::string FormatPattern(std::span<const uint8_t> record);
std::string FormatRange(std::span<const uint8_t> record);
std::string FormatAddress(uint32_t nAddress);

template <class T>
void AppendBytes(const T& record, Records& records) {
    const auto* pBytes = reinterpret_cast<const uint8_t*>(&record);
    records.insert(records.end(), pBytes, pBytes + sizeof record);
}

}  // namespace

Records ParseRecords(const tagDataFileKind& kind, std::string_view text, std::vector<std::string>& warnings) {
    Records records;
    for (size_t nLine = 1; !text.empty(); ++nLine) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(text.size(), line.size() + 1));
        const std::string_view value = StripLine(line);
        if (value.empty()) continue;
        const size_t nWarnings = warnings.size();
        const std::string prefix = "line " + std::to_string(nLine) + ": " + Quoted(value) + " ";
        try {
            AppendRecord(kind, {value, warnings}, records);
        } catch (const CtlError& reason) {
            throw CtlError("refused: " + prefix + reason.what());
        }
        for (size_t i = nWarnings; i < warnings.size(); ++i)
            warnings[i].insert(0, prefix);
    }
    CheckCount(kind, records, warnings);
    return records;
}

std::vector<std::string> FormatRecords(const tagDataFileKind& kind, const Records& records) {
    std::vector<std::string> lines;
    const std::span<const uint8_t> all(records);
    for (size_t n = 0; n < CountRecords(kind, records); ++n) {
        lines.push_back(FormatRecord(kind, all.subspan(n * kind.nRecordBytes, kind.nRecordBytes)));
    }
    return lines;
}

namespace {

std::string_view StripLine(std::string_view line) {
    constexpr std::string_view BLANKS = " \t\r";
    for (size_t n = line.find('#'); n != line.npos; n = line.find('#', n + 1)) {
        if (n != 0 && BLANKS.find(line[n - 1]) == BLANKS.npos) continue;
        line = line.substr(0, n);
        break;
    }
    const size_t nFirst = line.find_first_not_of(BLANKS);
    if (nFirst == line.npos) return {};
    return line.substr(nFirst, line.find_last_not_of(BLANKS) + 1 - nFirst);
}

void AppendRecord(const tagDataFileKind& kind, const tagLine& line, Records& records) {
    switch (kind.kind) {
        case DataFileKind::Exclusion:
        case DataFileKind::Trusted:
            return AppendPattern(line, records);
        case DataFileKind::Ranges:
            return AppendRange(line, records);
        case DataFileKind::Ports:
            return AppendPort(line, records);
        case DataFileKind::CategoryStatus:
            return AppendCategoryStatus(line, records);
    }
}

void AppendPattern(const tagLine& line, Records& records) {
    const std::string pattern = Unescape(line.text);
    if (pattern.size() >= PATTERN_BYTES) {
        throw CtlError("is too long: " + std::to_string(pattern.size()) + " characters, at most " +
                       std::to_string(PATTERN_BYTES - 1));
    }
    if (pattern.find("://") != pattern.npos) {
        line.warnings.push_back("is compared with URLs that have lost their scheme; leave it out");
    }
    const size_t nStart = records.size();
    records.insert(records.end(), pattern.begin(), pattern.end());
    records.resize(nStart + PATTERN_BYTES);
}

void AppendRange(const tagLine& line, Records& records) {
    const size_t nSlash = line.text.find('/');
    const auto base = ParseAddress(line.text.substr(0, nSlash));
    if (!base) throw CtlError("is not an IPv4 address or range");
    const auto mask = nSlash == line.text.npos ? 0xFFFFFFFF : ParseMask(line.text.substr(nSlash + 1));
    if (!mask) throw CtlError("has neither 0 to 32 bits nor a mask behind its '/'");
    if ((*base & ~*mask) != 0) {
        line.warnings.push_back("covers " + FormatAddress(*base) + " to " + FormatAddress(*base | ~*mask) +
                                ": a range starts at the very address given");
    }
    AppendBytes(tagAddrRange{*base, htonl(*mask)}, records);
}

void AppendPort(const tagLine& line, Records& records) {
    const auto port = ParseNumber(line.text, 65535);
    if (!port || *port == 0) throw CtlError("is not a port from 1 to 65535");
    AppendBytes(tagPortRecord{{0, 0}, static_cast<uint16_t>(*port)}, records);
}

void AppendCategoryStatus(const tagLine& line, Records& records) {
    const auto status = line.text == "on" ? 1 : line.text == "off" ? 0 : ParseNumber(line.text, 255);
    if (!status) throw CtlError("is not on, off or a number up to 255");
    if (*status > 1) line.warnings.push_back("changes nothing: 1 starts the category engine, 0 stops it");
    records.push_back(static_cast<uint8_t>(*status));
    records.resize(records.size() + 5);
}

void CheckCount(const tagDataFileKind& kind, const Records& records, std::vector<std::string>& warnings) {
    const size_t nCount = CountRecords(kind, records);
    if (kind.nCountBytes == 0 && nCount != 1) {
        throw CtlError("refused: " + std::to_string(nCount) + " values; the file holds exactly one");
    }
    if (kind.nCountBytes == 2 && nCount > 65535) {
        throw CtlError("refused: " + Counted(nCount, kind.szRecord) + ", at most 65535");
    }
    if (kind.kind == DataFileKind::Ports && nCount > MAX_USEFUL_PORTS) {
        warnings.push_back(std::to_string(nCount) +
                           " ports: iptables refuses a rule with more than 15, the " +
                           "default port included");
    }
}

std::string Unescape(std::string_view text) {
    std::string plain;
    if (text == "\\e") return plain;
    for (size_t n = 0; n < text.size(); ++n) {
        if (static_cast<uint8_t>(text[n]) <= ' ') throw CtlError("contains a blank or a control character");
        if (text[n] != '\\') {
            plain += text[n];
        } else if (text.substr(n, 2) == "\\\\") {
            plain += '\\';
            n += 1;
        } else {
            const auto hex = text.substr(n, 4);
            const auto byte =
                hex.size() == 4 && hex[1] == 'x' ? ParseNumber(hex.substr(2), 255, 16) : std::nullopt;
            if (!byte || *byte == 0) throw CtlError("has a '\\' that is not \\\\ or \\x01 to \\xFF");
            plain += static_cast<char>(*byte);
            n += 3;
        }
    }
    return plain;
}

std::optional<uint32_t> ParseNumber(std::string_view text, uint32_t nMax, int nBase) {
    uint32_t n = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), n, nBase);
    if (result.ec != std::errc() || result.ptr != text.data() + text.size() || n > nMax) return std::nullopt;
    return n;
}

std::optional<uint32_t> ParseAddress(std::string_view text) {
    in_addr address;
    if (inet_pton(AF_INET, std::string(text).c_str(), &address) != 1) return std::nullopt;
    return ntohl(address.s_addr);
}

std::optional<uint32_t> ParseMask(std::string_view text) {
    if (const auto bits = ParseNumber(text, 32)) return *bits == 0 ? 0 : 0xFFFFFFFF << (32 - *bits);
    return ParseAddress(text);
}

std::string FormatRecord(const tagDataFileKind& kind, std::span<const uint8_t> record) {
    switch (kind.kind) {
        case DataFileKind::Exclusion:
        case DataFileKind::Trusted:
            return FormatPattern(record);
        case DataFileKind::Ranges:
            return FormatRange(record);
        case DataFileKind::Ports: {
            tagPortRecord port;
            std::memcpy(&port, record.data(), sizeof port);
            return std::to_string(port.nPort);
        }
        case DataFileKind::CategoryStatus:
            return record[0] == 1 ? "on" : record[0] == 0 ? "off" : std::to_string(record[0]);
    }
    return {};
}

std::string FormatPattern(std::span<const uint8_t> record) {
    std::string text;
    for (const uint8_t byte : record) {
        if (byte == 0) break;
        if (byte == '\\') {
            text += "\\\\";
        } else if (byte == ' ' || (byte == '#' && text.empty())) {
            text += byte == ' ' ? "\\x20" : "\\x23";
        } else {
            const char c = static_cast<char>(byte);
            text += Printable({&c, 1});
        }
    }
    return text.empty() ? "\\e" : text;
}

std::string FormatRange(std::span<const uint8_t> record) {
    tagAddrRange range;
    std::memcpy(&range, record.data(), sizeof range);
    const uint32_t nMask = ntohl(range.nMask);
    const int nBits = std::countl_one(nMask);
    const bool bPlain = nBits == 32 || nMask << nBits == 0;
    return FormatAddress(range.nBase) + "/" + (bPlain ? std::to_string(nBits) : FormatAddress(nMask));
}

std::string FormatAddress(uint32_t nAddress) {
    const in_addr address{htonl(nAddress)};
    char szText[INET_ADDRSTRLEN];
    return inet_ntop(AF_INET, &address, szText, sizeof szText);
}

}  // namespace
