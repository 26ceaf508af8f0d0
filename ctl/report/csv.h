// Reports as CSV (RFC 4180): a header line, then a line for each row, lines ended by CR LF, texts in UTF-8.
// What a spreadsheet would take for a formula gets an apostrophe in front.
#pragma once

#include <ostream>
#include <string>
#include <string_view>

#include "ctl/report/writer.h"

class CsvWriter : public ReportWriter {
  public:
    explicit CsvWriter(std::ostream& out) : m_out(out) {}

    void Begin() override;
    void Write(const tagReportRow& row) override;

  private:
    std::ostream& m_out;
};

// A text as a field, in quotes where it needs them.
std::string CsvField(std::string_view text);
