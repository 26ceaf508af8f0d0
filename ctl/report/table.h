// Reports for people: a table with a line for each row, no wider than the terminal.
#pragma once

#include <array>
#include <ostream>
#include <string>

#include "ctl/report/writer.h"
#include "ctl/terminal.h"

class TableWriter : public ReportWriter {
  public:
    TableWriter(std::ostream& out, const tagTerminal& terminal) : m_out(out), m_terminal(terminal) {}

    void Measure(const tagReportRow& row) override;
    // Lays the columns out after what was measured.
    void Begin() override;
    // The titles stand above the first row.
    void Write(const tagReportRow& row) override;
    // Says so when there was no row.
    void End() override;

  private:
    // In the order of the columns: time, user, reason, URL.
    static constexpr size_t COLUMN_COUNT = 4;
    using Line = std::array<std::string, COLUMN_COUNT>;
    static const Line TITLES;

    Line Cells(const tagReportRow& row) const;
    void MeasureLine(const Line& line);
    void WriteLine(const Line& line);

    std::ostream& m_out;
    tagTerminal m_terminal;
    std::array<size_t, COLUMN_COUNT> m_widths{};
    bool m_bTitled = false;
};
