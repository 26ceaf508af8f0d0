#include "inspect/tls_client_hello.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/byte_cursor.h"
#include "common/copy_text.h"
#include "common/own_stdout.h"

namespace {

constexpr uint32_t RECORD_HEADER_LEN = 5;
constexpr uint32_t SESSION_ID_OFFSET = 43;  // of its length byte, from the start of the record
constexpr uint8_t HANDSHAKE = 22;
constexpr uint8_t CLIENT_HELLO = 1;
constexpr uint16_t EXTENSION_SERVER_NAME = 0;
constexpr uint8_t NAME_TYPE_HOST = 0;

int FindRecordEnd(std::span<const uint8_t> data, uint32_t& nEnd);
int CopyName(const uint8_t* pName, uint16_t nLength, char** pszName);
void ReportUnknownNameType(uint8_t nType);
tagByteCursor CursorOver(std::span<const uint8_t> data);

}  // namespace

int ExtractTLSServerName(const tagPacketInfo* pPacket, tagWebRequest* pRequest) {
    if (pPacket->nDataLen == 0) return 2;
    char* szName = nullptr;
    const int nLength = ParseClientHello({pPacket->pData, pPacket->nDataLen}, &szName);
    if (nLength >= 1) CopyText(pRequest->szHost, szName);
    std::free(szName);  // a name of length 0 has a buffer as well
    return nLength >= 1 ? nLength : 0;
}

int ParseClientHello(std::span<const uint8_t> data, char** pszName) {
    if (!pszName) return -3;
    uint32_t nEnd = 0;
    if (const int nResult = FindRecordEnd(data, nEnd); nResult != 0) return nResult;
    if (nEnd <= RECORD_HEADER_LEN || data[RECORD_HEADER_LEN] != CLIENT_HELLO) return -5;

    tagByteCursor hello = CursorOver(data.first(nEnd));
    TakeBytes(hello, SESSION_ID_OFFSET);
    TakeBytes(hello, ReadU8(hello));   // session id
    TakeBytes(hello, ReadU16(hello));  // cipher suites
    TakeBytes(hello, ReadU8(hello));   // compression methods
    if (hello.bFailed) return -5;
    const bool isSSL30 = data[1] == 3 && data[2] == 0;
    if (BytesLeft(hello) == 0 && isSSL30) return -2;
    const uint16_t nExtensionsLen = ReadU16(hello);
    const uint8_t* pExtensions = TakeBytes(hello, nExtensionsLen);
    if (hello.bFailed) return -5;
    return FindServerNameExtension({pExtensions, nExtensionsLen}, pszName);
}

int FindServerNameExtension(std::span<const uint8_t> extensions, char** pszName) {
    tagByteCursor cursor = CursorOver(extensions);
    while (BytesLeft(cursor) >= 4) {
        const uint16_t nType = ReadU16(cursor);
        const uint16_t nLength = ReadU16(cursor);
        const uint8_t* pBody = TakeBytes(cursor, nLength);
        if (!pBody) return -5;
        if (nType == EXTENSION_SERVER_NAME) return ParseServerNameList({pBody, nLength}, pszName);
    }
    return BytesLeft(cursor) == 0 ? -2 : -5;
}

int ParseServerNameList(std::span<const uint8_t> list, char** pszName) {
    tagByteCursor cursor = CursorOver(list);
    TakeBytes(cursor, 2);
    while (BytesLeft(cursor) > 3) {
        const uint8_t nType = ReadU8(cursor);
        const uint16_t nLength = ReadU16(cursor);
        const uint8_t* pName = TakeBytes(cursor, nLength);
        if (!pName) return -5;
        if (nType == NAME_TYPE_HOST) return CopyName(pName, nLength, pszName);
        ReportUnknownNameType(nType);
    }
    return !cursor.bFailed && BytesLeft(cursor) == 0 ? -2 : -5;
}

namespace {

// 0 with nEnd, the length of the record with its header; otherwise a result of ParseClientHello.
int FindRecordEnd(std::span<const uint8_t> data, uint32_t& nEnd) {
    if (data.size() < RECORD_HEADER_LEN) return -1;
    if ((data[0] & 0x80) != 0 && data[2] == 1) return -2;  // SSL 2.0
    if (data[0] != HANDSHAKE) return -5;
    if (static_cast<int8_t>(data[1]) <= 2) return -2;
    nEnd = (data[3] << 8 | data[4]) + RECORD_HEADER_LEN;
    return data.size() < nEnd ? -1 : 0;
}

int CopyName(const uint8_t* pName, uint16_t nLength, char** pszName) {
    char* szName = static_cast<char*>(std::malloc(nLength + size_t{1}));
    if (!szName) return -4;
    const size_t nCopied = strnlen(reinterpret_cast<const char*>(pName), nLength);
    std::memcpy(szName, pName, nCopied);
    szName[nCopied] = '\0';
    *pszName = szName;
    return nLength;
}

void ReportUnknownNameType(uint8_t nType) {
    if (g_bStdoutIsOurs != 1) return;
    std::printf("Unknown server name extension name type: %d", static_cast<int8_t>(nType));
}

tagByteCursor CursorOver(std::span<const uint8_t> data) {
    return {data.data(), static_cast<uint32_t>(data.size()), 0, 0};
}

}  // namespace
