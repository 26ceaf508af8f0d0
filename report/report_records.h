// The records of a blocked request, as the report stores take them: the boundary to libdbmod.so (types 1, 5
// and 6) and clrptmod.so (type 3). Leaf header, shared with the modules.
//
// A record is zeroed before its fields are set. Texts are 16-bit units, NUL-terminated inside their field;
// most are made from 8-bit texts by widening each byte as a signed value. Integers are in host byte order.
#pragma once

#include <cstddef>
#include <cstdint>

// Report types
enum : int {
    REPORT_BLOCK = 1,     // ReportRecordBlock: block lists and blocked categories
    REPORT_CLIENT = 3,    // ClientReportRecord: every reported block
    REPORT_HARMFUL = 5,   // ReportRecordHarmful
    REPORT_PHISHING = 6,  // ReportRecordThreat
};

// Two-byte packing: ClientReportRecord ends on an odd multiple of two.
#pragma pack(push, 2)

struct ReportRecordBlock {
    char16_t wszTime[258];          // local time, "05-Mar-2024 14:07:09"
    char16_t wszUser[100];          // owner of the connection, else the session user
    char16_t wszURL[1024];          // without scheme
    char16_t wszCategoryName[256];  // only when nResult is 6
    uint32_t nCategory;             // only when nResult is 6
    uint32_t nResult;               // RESULT_* of inspect/web_request.h
    char16_t wszReportText[512];    // reason, translated
    char16_t wszAction[16];         // "Blocked", translated
};
static_assert(sizeof(ReportRecordBlock) == 4340);
static_assert(offsetof(ReportRecordBlock, wszUser) == 516);
static_assert(offsetof(ReportRecordBlock, wszURL) == 716);
static_assert(offsetof(ReportRecordBlock, wszCategoryName) == 2764);
static_assert(offsetof(ReportRecordBlock, nCategory) == 3276);
static_assert(offsetof(ReportRecordBlock, nResult) == 3280);
static_assert(offsetof(ReportRecordBlock, wszReportText) == 3284);
static_assert(offsetof(ReportRecordBlock, wszAction) == 4308);

struct ReportRecordThreat {
    uint32_t nReserved;           // 0
    char16_t wszTime[256];        // as above
    char16_t wszReportText[512];  // reason, translated
    char16_t wszAction[16];       // "Blocked", translated
    char16_t wszUser[100];
    char16_t wszURL[1024];
};
static_assert(sizeof(ReportRecordThreat) == 3820);
static_assert(offsetof(ReportRecordThreat, wszTime) == 4);
static_assert(offsetof(ReportRecordThreat, wszReportText) == 516);
static_assert(offsetof(ReportRecordThreat, wszAction) == 1540);
static_assert(offsetof(ReportRecordThreat, wszUser) == 1572);
static_assert(offsetof(ReportRecordThreat, wszURL) == 1772);

struct ReportRecordHarmful {
    ReportRecordThreat threat;
    char16_t wszThreatName[256];  // what the harmful-site scan called it
};
static_assert(sizeof(ReportRecordHarmful) == 4332);
static_assert(offsetof(ReportRecordHarmful, wszThreatName) == 3820);

struct ClientReportRecord {
    uint16_t nLocalTime[8];  // a tagSYSTEMTIME: year, month, day of week, day, hour, minute, second, 0
    char16_t wszURL[1024];   // without scheme
    char16_t wszName[100];   // category name, or "Phishing", "Malicious", "Custom blocked", translated
    uint32_t nCategory;      // category of the name; 3 phishing, 2 harmful, 0 block lists
    char16_t wszUser[255];
};
static_assert(sizeof(ClientReportRecord) == 2778);
static_assert(offsetof(ClientReportRecord, wszURL) == 16);
static_assert(offsetof(ClientReportRecord, wszName) == 2064);
static_assert(offsetof(ClientReportRecord, nCategory) == 2264);
static_assert(offsetof(ClientReportRecord, wszUser) == 2268);

#pragma pack(pop)
