// A report record taken apart into the columns of a row. Keeps no state; any thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "modules/store/store_text.h"

// The parts of one report record. Texts are plain UTF-8 (modules/store/store_text.h).
struct tagDecodedReport {
    int64_t nTime;  // seconds since 1970; -1 when the record's time text tells none
    char szTime[DecodedSize(258)];
    char szUser[DecodedSize(100)];  // cut to what every record type can hold, so that two records compare
    char szURL[DecodedSize(1024)];
    char szHost[DecodedSize(1024)];
    uint32_t nResult;
    uint32_t nCategory;
    char szName[DecodedSize(256)];
    char szReason[DecodedSize(512)];
    char szAction[DecodedSize(16)];
    char szThreat[DecodedSize(256)];
    uint32_t nType;   // 1, 5 or 6; 0 for a client record
    uint32_t nParts;  // REPORT_PART_TYPED or REPORT_PART_CLIENT
};

// Size of a record of that report type; 0 for a type that is none.
size_t ReportRecordSize(int nType);

// Takes a record of that type and size apart. Answers 0, or 1 for a type that is none.
int DecodeReport(int nType, const void* pRecord, tagDecodedReport* pReport);
