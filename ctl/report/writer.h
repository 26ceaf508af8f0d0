// A form in which rows of reports are written: table, CSV, JSON, page. One walk may measure the rows first;
// then come Begin, each row, End. Rows that were not measured may follow at any time before End.
#pragma once

#include <cstdint>

#include "modules/store/store_reports.h"

class ReportWriter {
  public:
    virtual ~ReportWriter() = default;

    virtual void Measure(const tagReportRow&) {}
    virtual void Begin() {}
    virtual void Write(const tagReportRow& row) = 0;
    virtual void End() {}
};
