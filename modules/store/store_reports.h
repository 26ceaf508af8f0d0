// The reports in the store: one row for each blocked request. For the threads and the result codes see
// modules/store/store.h.
//
// The daemon hands over two records for one block, one to each report module: the typed record (types 1, 5
// and 6) and the client record (type 3). Whichever is stored first makes the row; the other one completes the
// oldest incomplete row of the same URL and user within a second. A row may stay incomplete when the other
// module is not loaded.
//
// Texts are valid UTF-8 without control characters: bytes that are neither stand as %XX.
#pragma once

#include <cstddef>
#include <cstdint>

#include "modules/store/store.h"

// nParts
enum : uint32_t { REPORT_PART_TYPED = 1, REPORT_PART_CLIENT = 2, REPORT_PARTS_ALL = 3 };

// The newest rows that are kept; older ones go when more are stored.
constexpr int64_t STORE_REPORTS_KEPT = 200000;

struct tagReportRow {
    int64_t nId;           // grows in the order of storing, never used twice
    int64_t nTime;         // of the block, seconds since 1970
    const char* szTime;    // the same as local text, "05-Mar-2024 14:07:09"
    const char* szUser;    // empty when unknown
    const char* szURL;     // without scheme
    const char* szHost;    // the URL's host, lower case
    uint32_t nResult;      // RESULT_* of the block: 4 or 5 block lists, 6 category, 7 phishing, 8 harmful;
                           // told from the client record's category when there is no typed record
    uint32_t nCategory;    // category id; 0 for block lists, 3 phishing, 2 harmful
    const char* szName;    // category name, or "Phishing", "Malicious", "Custom blocked", translated
    const char* szReason;  // reason, translated; empty without a typed record
    const char* szAction;  // "Blocked", translated; empty without a typed record
    const char* szThreat;  // threat name of a harmful site, else empty
    uint32_t nType;        // 1, 5 or 6: of the typed record; 0 without one
    uint32_t nParts;       // REPORT_PART_*: which of the two records have come
    uint32_t nTimes = 1;   // how many blocks a reader lets the row stand for; each is stored by itself
};

// Which rows are meant. An empty record means all of them, newest first; null and 0 stand for no condition.
struct tagReportFilter {
    int64_t nAfterId = 0;          // only rows with a larger id
    int64_t nFrom = 0;             // only at or after this time, seconds since 1970
    int64_t nUntil = 0;            // only before this time
    const char* szUser = nullptr;  // only this user
    const char* szHost = nullptr;  // only this host and its sub-domains
    uint32_t nResultMask = 0;      // bit n set: only rows whose nResult is one of those n (below 32)
    int64_t nLimit = 0;            // at most so many rows
    uint32_t bOldestFirst = 0;     // 1: in the order of storing
};

// Called for each row; its texts are valid during the call. A result other than 0 ends the walk. It must not
// use the same tagStore.
using ReportRowFn = int (*)(const tagReportRow* pRow, void* pContext);
int ForEachReport(tagStore* pStore, const tagReportFilter* pFilter, ReportRowFn pfnRow, void* pContext);

// What CountReports counts by.
enum : int {
    COUNT_BY_RESULT = 0,    // key: nResult in decimal
    COUNT_BY_USER = 1,      // key: user
    COUNT_BY_CATEGORY = 2,  // key: szName; only rows with result 6
    COUNT_BY_HOST = 3,      // key: host
    COUNT_BY_DAY = 4,       // key: local day, "2024-03-05", in the order of days
};
// Called for each key, most frequent first (days in their order).
using ReportCountFn = int (*)(const char* szKey, int64_t nCount, void* pContext);
// Counts the rows that pFilter means (its limit applies to keys, its order not at all).
int CountReports(tagStore* pStore, const tagReportFilter* pFilter, int nBy, ReportCountFn pfnCount,
                 void* pContext);

// Deletes the rows older than nBefore (seconds since 1970). *pDeleted: how many.
int PurgeReports(tagStore* pStore, int64_t nBefore, int64_t* pDeleted);

// How many records the modules were given and could not store, ever.
int ReadLostReports(tagStore* pStore, int64_t* pLost);
// Adds to that count.
int AddLostReports(tagStore* pStore, int64_t nLost);
