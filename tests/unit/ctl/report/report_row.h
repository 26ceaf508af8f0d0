// A row as the store gives it, for tests of what is made of rows; they set what matters to them.
#pragma once

#include "modules/store/store_reports.h"

inline tagReportRow RowWith(const char* szText) {
    return {.nId = 1,
            .nTime = 0,
            .szTime = szText,
            .szUser = szText,
            .szURL = szText,
            .szHost = szText,
            .nResult = 4,
            .nCategory = 0,
            .szName = szText,
            .szReason = szText,
            .szAction = szText,
            .szThreat = szText,
            .nType = 1,
            .nParts = 3};
}
