#include "inspect/protocol_detect.h"

#include <string.h>

#include <algorithm>

namespace {

constexpr size_t MIN_DATA_LEN = 5;  // fewer bytes are never classified: a TLS record header has as many
constexpr uint8_t TLS_HANDSHAKE = 22;
constexpr uint8_t TLS_CLIENT_HELLO = 1;

void FindFirstKeyword(std::span<const uint8_t> data, std::span<const tagKeyword> keywords, uint8_t nProtocol,
                      tagWebRequest& request);

}  // namespace

int DetectProtocol(const tagPacketInfo* pPacket, tagWebRequest* pRequest) {
    if (!pPacket || !pRequest) return 2;
    if (IsTLSClientHello(pPacket, pRequest) == 0 && pRequest->nProtocol == PROTO_HTTPS) return 0;
    if (FindFTPCommand(pPacket, pRequest) == 0 && pRequest->nProtocol == PROTO_FTP) return 0;
    if (FindHTTPMethod(pPacket, pRequest) == 0 && pRequest->nProtocol == PROTO_HTTP) return 0;
    return -1;
}

int IsTLSClientHello(const tagPacketInfo* pPacket, tagWebRequest* pRequest) {
    const std::span data(pPacket->pData, pPacket->nDataLen);
    if (data.size() < MIN_DATA_LEN) return -1;
    if ((data[0] & 0x80) != 0 && data[2] == 1) return -2;
    if (data[0] != TLS_HANDSHAKE) return -5;
    if (data[1] <= 2) return -2;
    const size_t nRecordLen = (data[3] << 8 | data[4]) + MIN_DATA_LEN;
    if (data.size() < nRecordLen) return -1;
    if (nRecordLen < MIN_DATA_LEN + 1 || data[5] != TLS_CLIENT_HELLO) return -5;
    pRequest->nProtocol = PROTO_HTTPS;
    return 0;
}

int FindFTPCommand(const tagPacketInfo* pPacket, tagWebRequest* pRequest) {
    FindFirstKeyword({pPacket->pData, pPacket->nDataLen}, FTP_COMMANDS, PROTO_FTP, *pRequest);
    return 0;
}

int FindHTTPMethod(const tagPacketInfo* pPacket, tagWebRequest* pRequest) {
    const size_t nSearched = std::min<size_t>(pPacket->nDataLen, HTTP_SEARCH_BYTES);
    const auto methods = std::span(HTTP_METHODS).first(SEARCHED_METHODS);
    FindFirstKeyword({pPacket->pData, nSearched}, methods, PROTO_HTTP, *pRequest);
    return 0;
}

ptrdiff_t FindKeyword(std::span<const uint8_t> data, const tagKeyword& keyword) {
    if (keyword.nLength == 0 || data.size() < keyword.nLength) return -1;
    const void* pFound = memmem(data.data(), data.size(), keyword.szText, keyword.nLength);
    return pFound ? static_cast<const uint8_t*>(pFound) - data.data() : -1;
}

namespace {

void FindFirstKeyword(std::span<const uint8_t> data, std::span<const tagKeyword> keywords, uint8_t nProtocol,
                      tagWebRequest& request) {
    if (data.size() < MIN_DATA_LEN) return;
    for (size_t i = 0; i < keywords.size(); ++i) {
        if (FindKeyword(data, keywords[i]) < 0) continue;
        request.nProtocol = nProtocol;
        request.nMethod = static_cast<uint8_t>(i);
        return;
    }
}

}  // namespace
