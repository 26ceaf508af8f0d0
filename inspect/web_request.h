// The inspection record of one packet. Leaf header: a plain record that every check takes.
//
// One record lives on the worker's stack for one packet and is zeroed before use; nothing of it outlives the
// packet. A check returns 0 when it ran and reports a finding only by writing nResult and its companions.
#pragma once

#include <cstdint>

// nProtocol
enum : uint8_t { PROTO_NONE = 0, PROTO_HTTP = 1, PROTO_HTTPS = 2, PROTO_FTP = 3 };

// nResult
enum : uint32_t {
    RESULT_NONE = 0,          // nothing has matched
    RESULT_ALLOW_HOST = 1,    // host or address is in the allow list
    RESULT_ALLOW_URL = 2,     // URL is in the allow list
    RESULT_SCAN_TRUSTED = 3,  // a trusted URL pattern lifts a scanner or category finding
    RESULT_BLOCK_HOST = 4,    // host or address is in the block list
    RESULT_BLOCK_URL = 5,     // URL is in the block list
    RESULT_CATEGORY = 6,      // nCategory is a blocked category
    RESULT_FRAUDULENT = 7,    // phishing site
    RESULT_HARMFUL = 8,       // harmful site
    RESULT_EXCLUDED = 101,    // excluded by a built-in pattern, or a trusted site
};

// Category numbers with a fixed meaning.
constexpr uint32_t CATEGORY_HARMFUL = 2;
constexpr uint32_t CATEGORY_PHISHING = 3;

struct tagWebRequest {
    uint8_t nProtocol;              // PROTO_*
    uint8_t nMethod;                // index into the protocol's keyword table: GET, CONNECT and on; CWD, RETR
    char szHost[256];               // HTTP Host value without port, TLS server name, or FTP server address
    char szPath[1024];              // request target or FTP argument, port removed
    char szURL[1024];               // scheme, "://", host and path
    char szCheckURL[1024];          // the URL without scheme and trailing separators: what lists compare
    char szCategories[16384];       // category numbers as text, server mode
    char16_t wszCategoryName[100];  // display name of the blocking category
    char16_t wszReportText[255];    // translated reason
    char szThreatName[255];         // what the harmful-site scan called it
    uint16_t nCategoryIds[5];       // category numbers, library modes
    uint16_t nCategoryCount;        // valid entries of nCategoryIds
    uint32_t nResult;               // RESULT_*
    uint32_t nCategory;             // the category that made nResult RESULT_CATEGORY
    uint8_t bIsIPHost;              // 1: szHost is a dotted IPv4 address
    uint8_t bAllowListPass;         // scratch of the address-list match: 1 allow side, 0 block side
};
