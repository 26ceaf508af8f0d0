// Reports as one page that stands by itself: charts of the figures above a table of rows. It loads nothing
// and runs nothing; it follows the reader's light or dark colours and fits narrow screens.
#pragma once

#include <cstdint>
#include <string>

#include "ctl/report/counts.h"
#include "ctl/report/writer.h"

struct tagReportPage {
    std::string machine;
    std::string conditions;  // which rows are meant, in words; empty for all
    int64_t nMadeAt;         // seconds since 1970
    int64_t nLimit;          // rows in the table; 0: all
    tagReportCounts counts;
};

// Appends the page to text.
class HtmlWriter : public ReportWriter {
  public:
    HtmlWriter(std::string& text, const tagReportPage& page) : m_text(text), m_page(page) {}

    void Begin() override;
    void Write(const tagReportRow& row) override;
    void End() override;

  private:
    std::string& m_text;
    const tagReportPage& m_page;
};
