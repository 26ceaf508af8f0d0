// What the data of one segment is: a TLS ClientHello (RFC 8446 5.1), an FTP command (RFC 959) or an HTTP
// request (RFC 9112). Looks at one segment only.
//
// All operations take a packet that ParseIPv4TCP accepted (pData, nDataLen) and write nothing but nProtocol
// and nMethod of the record; any worker. Only DetectProtocol may be given null.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "inspect/web_request.h"
#include "intercept/packet_info.h"

struct tagKeyword {
    char szText[20];  // padded with NUL
    uint8_t nLength;  // 0: the entry is skipped
};
static_assert(sizeof(tagKeyword) == 21);

// Searched in this order; nMethod is the index. No trailing blank: "GET" also meets a longer word. The search
// takes the first SEARCHED_METHODS of the HTTP methods; the others are only met at the start of the data
// (inspect/live_detect.h).
inline constexpr std::array<tagKeyword, 8> HTTP_METHODS = {{{"GET", 3},
                                                            {"CONNECT", 7},
                                                            {"HEAD", 4},
                                                            {"POST", 4},
                                                            {"PUT", 3},
                                                            {"DELETE", 6},
                                                            {"OPTIONS", 7},
                                                            {"PATCH", 5}}};
constexpr size_t SEARCHED_METHODS = 2;
inline constexpr std::array<tagKeyword, 2> FTP_COMMANDS = {{{"CWD", 3}, {"RETR", 4}}};

// How far into the data an HTTP keyword is looked for.
constexpr size_t HTTP_SEARCH_BYTES = 15;

// Index of the keyword's first occurrence in the data (case-sensitive), or -1. An empty keyword never occurs.
ptrdiff_t FindKeyword(std::span<const uint8_t> data, const tagKeyword& keyword);

// Runs the three tests below in this order and takes the first protocol recognised: an HTTP request that
// holds "CWD" or "RETR" anywhere is FTP.
// Returns 0 with nProtocol set, 2 when an argument is null, -1 when it is none of the three.
int DetectProtocol(const tagPacketInfo* pPacket, tagWebRequest* pRequest);

// Sets nProtocol to PROTO_HTTPS and returns 0 when the data begins with a whole record that holds the start
// of a ClientHello. Otherwise -1: the record is not complete in this segment; -2: SSL 2.0 or older; -5:
// something else.
int IsTLSClientHello(const tagPacketInfo* pPacket, tagWebRequest* pRequest);

// On a keyword anywhere in the data: sets nProtocol to PROTO_FTP and nMethod. Returns 0, found or not.
int FindFTPCommand(const tagPacketInfo* pPacket, tagWebRequest* pRequest);

// On a keyword in the first HTTP_SEARCH_BYTES bytes: sets nProtocol to PROTO_HTTP and nMethod. Returns 0,
// found or not.
int FindHTTPMethod(const tagPacketInfo* pPacket, tagWebRequest* pRequest);
