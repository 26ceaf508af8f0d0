#include "inspect/request_prefix.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

#include "inspect/hello_prefix.h"
#include "inspect/http_request.h"
#include "inspect/web_request.h"

namespace {

constexpr uint8_t METHOD_CONNECT = 1;

uint8_t ReadHello(std::span<const uint8_t> data);
uint8_t ReadHTTP(std::span<const uint8_t> data);
uint8_t ReadFTP(std::span<const uint8_t> data);
tagRequestEnd FindHTTPEnd(std::span<const uint8_t> data);
size_t SkipFTPCommands(std::span<const uint8_t> data);
std::string_view TextOf(std::span<const uint8_t> data);

}  // namespace

uint8_t ReadRequestPrefix(std::span<const uint8_t> data) {
    tagRequestStart start;
    const uint8_t nStart = DetectStart(data, start);
    if (nStart != PREFIX_ENOUGH) return nStart;
    switch (start.nProtocol) {
        case PROTO_HTTPS:
            return ReadHello(data);
        case PROTO_HTTP:
            return ReadHTTP(data);
        default:
            return ReadFTP(data);
    }
}

tagRequestEnd FindRequestEnd(std::span<const uint8_t> data) {
    tagRequestStart start;
    if (DetectStart(data, start) != PREFIX_ENOUGH) return {END_UNKNOWN, 0};
    if (start.nProtocol == PROTO_HTTPS) return {END_NEVER, 0};
    if (start.nProtocol == PROTO_FTP) return {END_AT, SkipFTPCommands(data)};
    return start.nMethod == METHOD_CONNECT ? tagRequestEnd{END_UNKNOWN, 0} : FindHTTPEnd(data);
}

size_t CountLineEnds(std::span<const uint8_t> data) {
    return std::min(TextOf(data).find_first_not_of("\r\n"), data.size());
}

size_t FindNextRequest(std::span<const uint8_t> data, const tagRequestEnd& end) {
    if (end.nKind != END_AT || end.nOffset >= data.size()) return data.size();
    const size_t nNext = end.nOffset + CountLineEnds(data.subspan(end.nOffset));
    tagRequestStart start;
    return DetectStart(data.subspan(nNext), start) == PREFIX_OTHER ? data.size() : nNext;
}

namespace {

uint8_t ReadHello(std::span<const uint8_t> data) {
    char szName[256];
    return FindHelloName(data, szName);
}

// Line by line as FindHeaderValue reads them; only lines whose end is there decide.
uint8_t ReadHTTP(std::span<const uint8_t> data) {
    const uint8_t* pCursor = data.data();
    uint32_t nLeft = static_cast<uint32_t>(data.size());
    for (;;) {
        const uint32_t nLength = NextHeaderLine(pCursor, nLeft);
        if (nLeft <= nLength + 1) return PREFIX_MORE;
        const std::string_view line = TextOf({pCursor, nLength});
        if (line.empty()) return PREFIX_ENOUGH;
        if (ValueInLine(line, "Host:")) return PREFIX_ENOUGH;
    }
}

uint8_t ReadFTP(std::span<const uint8_t> data) {
    return TextOf(data).find_first_of("\r\n") == std::string_view::npos ? PREFIX_MORE : PREFIX_ENOUGH;
}

// Line by line as servers read them: each up to its LF, whatever stands before that.
tagRequestEnd FindHTTPEnd(std::span<const uint8_t> data) {
    std::string_view rest = TextOf(data);
    std::optional<std::string_view> length;
    bool bInChunks = false;
    for (;;) {
        const size_t nEnd = rest.find('\n');
        if (nEnd == rest.npos) return {END_LATER, 0};
        std::string_view line = rest.substr(0, nEnd);
        rest.remove_prefix(nEnd + 1);
        if (line.ends_with('\r')) line.remove_suffix(1);
        if (line.empty()) break;
        if (ValueInLine(line, "Transfer-Encoding:")) bInChunks = true;
        if (!length) length = ValueInLine(line, "Content-Length:");
    }
    const size_t nHead = data.size() - rest.size();
    if (bInChunks) return {END_UNKNOWN, 0};
    if (!length) return {END_AT, nHead};
    uint64_t nBody = 0;
    const auto parsed = std::from_chars(length->data(), length->data() + length->size(), nBody);
    if (parsed.ec != std::errc() || nBody > UINT64_MAX - nHead) return {END_UNKNOWN, 0};
    return {END_AT, nHead + nBody};
}

size_t SkipFTPCommands(std::span<const uint8_t> data) {
    const std::string_view text = TextOf(data);
    tagRequestStart start;
    for (size_t nEnd = text.find('\n'); nEnd != text.npos; nEnd = text.find('\n', nEnd + 1)) {
        if (DetectStart(data.subspan(nEnd + 1), start) != PREFIX_OTHER) return nEnd + 1;
    }
    return data.size();
}

std::string_view TextOf(std::span<const uint8_t> data) {
    return {reinterpret_cast<const char*>(data.data()), data.size()};
}

}  // namespace
