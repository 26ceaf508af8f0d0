// The fields of a row as programs read them: the keys of the JSON objects and the columns of the CSV table.
#pragma once

#include <array>

#include "ctl/output.h"
#include "modules/store/store_reports.h"

struct tagReportField {
    const char* szName;
    Json (*pfnValue)(const tagReportRow& row);  // a text, a number or null
};
extern const std::array<tagReportField, 12> REPORT_FIELDS;
