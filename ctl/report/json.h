// Reports for programs: an array of objects, or JSON Lines (an object on each line) for rows without an end.
#pragma once

#include <ostream>

#include "ctl/report/writer.h"

class JsonWriter : public ReportWriter {
  public:
    JsonWriter(std::ostream& out, bool bLines) : m_out(out), m_bLines(bLines) {}

    void Begin() override;
    void Write(const tagReportRow& row) override;
    void End() override;

  private:
    std::ostream& m_out;
    bool m_bLines;
    bool m_bFirst = true;
};
