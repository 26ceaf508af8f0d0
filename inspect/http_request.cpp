#include "inspect/http_request.h"

#include <algorithm>
#include <cstring>

#include "common/ascii.h"
#include "common/copy_text.h"
#include "inspect/protocol_detect.h"
#include "inspect/target_text.h"
#include "inspect/url_helpers.h"
#include "service/service_config.h"

namespace {
bool EndsInFeedAlone(const uint8_t* pLine, uint32_t nLength, uint32_t nLeft);
uint32_t FindLineEnd(const uint8_t* pBytes, uint32_t nLeft, uint32_t nKept);
}  // namespace

int ExtractHTTPRequest(const tagPacketInfo* pPacket, tagWebRequest* pRequest) {
    const std::span data(pPacket->pData, pPacket->nDataLen);
    if (FindHeaderValue("Host:", data, pRequest->szHost) != 0) return 0;
    StripURLPort(pRequest->szHost, 0);
    return ParseRequestTarget(pRequest, data);
}

int FindHeaderValue(std::string_view name, std::span<const uint8_t> data, char (&szValue)[256]) {
    const uint8_t* pCursor = data.data();
    uint32_t nLeft = static_cast<uint32_t>(data.size());
    while (const uint32_t nLength = NextHeaderLine(pCursor, nLeft)) {
        const uint32_t nKept = nLength + (g_bLiveTraffic == 1 && EndsInFeedAlone(pCursor, nLength, nLeft));
        auto value = ValueInLine({reinterpret_cast<const char*>(pCursor), nKept}, name);
        if (!value) continue;
        if (g_bLiveTraffic == 1) value = value->substr(0, value->find_last_not_of(" \t") + 1);
        if (value->size() >= sizeof szValue) return -1;
        CopyText(szValue, *value);
        return 0;
    }
    return -1;
}

std::optional<std::string_view> ValueInLine(std::string_view line, std::string_view name) {
    if (line.size() <= name.size() || !EqualNoCase(line.substr(0, name.size()), name)) return std::nullopt;
    line.remove_prefix(name.size());
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    return line;
}

uint32_t NextHeaderLine(const uint8_t*& pCursor, uint32_t& nLeft) {
    uint32_t nSkipped = FindLineEnd(pCursor, nLeft, 2);
    nSkipped += std::min<uint32_t>(nLeft - nSkipped, 2);
    pCursor += nSkipped;
    nLeft -= nSkipped;
    return FindLineEnd(pCursor, nLeft, 1);
}

int ParseRequestTarget(tagWebRequest* pRequest, std::span<const uint8_t> data) {
    const size_t nKeyword = HTTP_METHODS[pRequest->nMethod].nLength;
    CopyTarget(data.subspan(std::min(nKeyword, data.size())), *pRequest);
    return 0;
}

namespace {

// Whether the line's end has taken a byte of it: servers read that byte.
bool EndsInFeedAlone(const uint8_t* pLine, uint32_t nLength, uint32_t nLeft) {
    return nLeft > nLength + 1 && pLine[nLength] != '\r';
}

// The offset of the first CR, or of the byte before the first LF behind the first byte, whichever is first.
// The last nKept bytes, of which there is one at least, end no line; without a line end the offset where they
// begin. Looks from window to window, so that a head of short lines with one kind of end costs no more than
// any other.
uint32_t FindLineEnd(const uint8_t* pBytes, uint32_t nLeft, uint32_t nKept) {
    constexpr uint32_t WINDOW = 128;
    const uint32_t nLimit = nLeft - std::min(nLeft, nKept);
    for (uint32_t nFrom = 0; nFrom < nLimit; nFrom += WINDOW) {
        const uint8_t* pWindow = pBytes + nFrom;
        uint32_t nEnd = std::min(nLimit - nFrom, WINDOW);
        const void* pFeed = std::memchr(pWindow + 1, '\n', nEnd);
        if (pFeed) nEnd = static_cast<uint32_t>(static_cast<const uint8_t*>(pFeed) - pWindow) - 1;
        const void* pReturn = std::memchr(pWindow, '\r', nEnd);
        if (pReturn) nEnd = static_cast<uint32_t>(static_cast<const uint8_t*>(pReturn) - pWindow);
        if (pFeed || pReturn) return nFrom + nEnd;
    }
    return nLimit;
}

}  // namespace
