#include "inspect/hello_prefix.h"

#include <algorithm>
#include <cstring>

#include "common/copy_text.h"

namespace {

constexpr uint32_t RECORD_HEADER_LEN = 5;
constexpr uint32_t RECORD_MAX = 1 << 14;
constexpr uint8_t HANDSHAKE = 22;
constexpr uint8_t TLS_MAJOR = 3;
constexpr uint8_t CLIENT_HELLO = 1;
constexpr uint32_t MESSAGE_HEADER_LEN = 4;
constexpr uint32_t VERSION_AND_RANDOM = 2 + 32;
constexpr uint16_t EXTENSION_SERVER_NAME = 0;
constexpr uint8_t NAME_TYPE_HOST = 0;

// The bytes of the handshake message. What cannot be taken decides nResult, and that sticks.
struct tagHelloCursor {
    std::span<const uint8_t> data;  // not taken yet, record headers included
    uint32_t nRecordLeft;           // of them, before the next record header
    uint32_t nLeft;                 // bytes before the innermost length ends
    uint8_t nResult;                // PREFIX_ENOUGH as long as every byte asked for was there
};

uint8_t FindNameExtension(tagHelloCursor& hello, char (&szName)[256]);
uint8_t ParseNames(tagHelloCursor& names, char (&szName)[256]);
uint8_t TakeName(tagHelloCursor& names, uint32_t nLength, char (&szName)[256]);
void Take(tagHelloCursor& cursor, uint32_t nBytes, void* pTo = nullptr);
uint32_t TakeNumber(tagHelloCursor& cursor, uint32_t nBytes);
void Enclose(tagHelloCursor& cursor, uint32_t nLength);
bool OpenRecord(tagHelloCursor& cursor);

}  // namespace

uint8_t FindHelloName(std::span<const uint8_t> data, char (&szName)[256]) {
    tagHelloCursor hello{data, 0, MESSAGE_HEADER_LEN + CLIENT_HELLO_MAX, PREFIX_ENOUGH};
    const uint32_t nType = TakeNumber(hello, 1);
    if (hello.nResult == PREFIX_ENOUGH && nType != CLIENT_HELLO) return PREFIX_DAMAGED;
    Enclose(hello, TakeNumber(hello, 3));

    Take(hello, VERSION_AND_RANDOM);
    Take(hello, TakeNumber(hello, 1));  // session id
    Take(hello, TakeNumber(hello, 2));  // cipher suites
    Take(hello, TakeNumber(hello, 1));  // compression methods
    if (hello.nResult != PREFIX_ENOUGH) return hello.nResult;
    if (hello.nLeft == 0) return PREFIX_NO_NAME;
    Enclose(hello, TakeNumber(hello, 2));
    return FindNameExtension(hello, szName);
}

namespace {

uint8_t FindNameExtension(tagHelloCursor& hello, char (&szName)[256]) {
    while (hello.nResult == PREFIX_ENOUGH && hello.nLeft > 0) {
        const uint32_t nType = TakeNumber(hello, 2);
        const uint32_t nLength = TakeNumber(hello, 2);
        if (hello.nResult == PREFIX_ENOUGH && nType == EXTENSION_SERVER_NAME) {
            Enclose(hello, nLength);
            return ParseNames(hello, szName);
        }
        Take(hello, nLength);
    }
    return hello.nResult == PREFIX_ENOUGH ? uint8_t{PREFIX_NO_NAME} : hello.nResult;
}

// The length of the list itself says nothing that the extension's does not.
uint8_t ParseNames(tagHelloCursor& names, char (&szName)[256]) {
    Take(names, 2);
    while (names.nResult == PREFIX_ENOUGH && names.nLeft > 0) {
        const uint32_t nType = TakeNumber(names, 1);
        const uint32_t nLength = TakeNumber(names, 2);
        if (names.nResult == PREFIX_ENOUGH && nType == NAME_TYPE_HOST)
            return TakeName(names, nLength, szName);
        Take(names, nLength);
    }
    return names.nResult == PREFIX_ENOUGH ? uint8_t{PREFIX_NO_NAME} : names.nResult;
}

uint8_t TakeName(tagHelloCursor& names, uint32_t nLength, char (&szName)[256]) {
    char szTaken[256];
    const uint32_t nKept = std::min<uint32_t>(nLength, sizeof szTaken - 1);
    Take(names, nKept, szTaken);
    Take(names, nLength - nKept);
    if (names.nResult != PREFIX_ENOUGH) return names.nResult;
    if (nLength <= 1) return PREFIX_NO_NAME;
    CopyText(szName, {szTaken, strnlen(szTaken, nKept)});
    return PREFIX_ENOUGH;
}

// Steps over the next bytes of the message; they go to pTo, if given.
void Take(tagHelloCursor& cursor, uint32_t nBytes, void* pTo) {
    if (cursor.nResult != PREFIX_ENOUGH) return;
    if (nBytes > cursor.nLeft) {
        cursor.nResult = PREFIX_DAMAGED;
        return;
    }
    cursor.nLeft -= nBytes;
    auto* pNext = static_cast<uint8_t*>(pTo);
    while (nBytes > 0 && OpenRecord(cursor)) {
        const size_t nPart = std::min<size_t>({nBytes, cursor.nRecordLeft, cursor.data.size()});
        if (pNext) pNext = std::copy_n(cursor.data.begin(), nPart, pNext);
        cursor.data = cursor.data.subspan(nPart);
        cursor.nRecordLeft -= static_cast<uint32_t>(nPart);
        nBytes -= static_cast<uint32_t>(nPart);
    }
}

// A big-endian number; 0 when it is not there.
uint32_t TakeNumber(tagHelloCursor& cursor, uint32_t nBytes) {
    uint8_t bytes[4] = {};
    Take(cursor, nBytes, bytes);
    uint32_t nNumber = 0;
    for (uint32_t i = 0; i < nBytes; ++i)
        nNumber = nNumber << 8 | bytes[i];
    return cursor.nResult == PREFIX_ENOUGH ? nNumber : 0;
}

// From here on nothing behind the next nLength bytes is read.
void Enclose(tagHelloCursor& cursor, uint32_t nLength) {
    if (cursor.nResult == PREFIX_ENOUGH && nLength > cursor.nLeft) cursor.nResult = PREFIX_DAMAGED;
    cursor.nLeft = nLength;
}

// Whether a byte of the message lies ahead; steps over a record header before it.
bool OpenRecord(tagHelloCursor& cursor) {
    if (cursor.nRecordLeft == 0) {
        if (cursor.data.size() < RECORD_HEADER_LEN) {
            cursor.nResult = PREFIX_MORE;
            return false;
        }
        const std::span<const uint8_t> header = cursor.data.first(RECORD_HEADER_LEN);
        cursor.nRecordLeft = header[3] << 8 | header[4];
        const bool bSound = header[0] == HANDSHAKE && header[1] == TLS_MAJOR && cursor.nRecordLeft != 0 &&
                            cursor.nRecordLeft <= RECORD_MAX;
        if (!bSound) {
            cursor.nResult = PREFIX_DAMAGED;
            return false;
        }
        cursor.data = cursor.data.subspan(RECORD_HEADER_LEN);
    }
    if (cursor.data.empty()) cursor.nResult = PREFIX_MORE;
    return !cursor.data.empty();
}

}  // namespace
