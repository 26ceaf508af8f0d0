#include "ctl/report/table.h"

#include <algorithm>
#include <numeric>

#include "ctl/report/reason.h"
#include "ctl/time_argument.h"
#include "ctl/visible_text.h"

namespace {

constexpr size_t GAP = 2;
enum : size_t { COLUMN_TIME, COLUMN_USER, COLUMN_REASON, COLUMN_URL };

// Room for rows that are still to come.
constexpr std::array<size_t, 4> TYPICAL_WIDTHS = {19, 10, 20, 30};

// Where room is taken from, one after the other, and what is left there at least.
struct tagShrinkStep {
    size_t nColumn;
    size_t nLeast;
};
constexpr tagShrinkStep SHRINK_STEPS[] = {
    {COLUMN_URL, 30},  {COLUMN_REASON, 18}, {COLUMN_USER, 10}, {COLUMN_URL, 20},   {COLUMN_REASON, 10},
    {COLUMN_TIME, 11}, {COLUMN_USER, 6},    {COLUMN_URL, 10},  {COLUMN_REASON, 6}, {COLUMN_TIME, 6},
};

}  // namespace

const TableWriter::Line TableWriter::TITLES = {"TIME", "USER", "REASON", "URL"};

void TableWriter::Measure(const tagReportRow& row) {
    MeasureLine(Cells(row));
}

void TableWriter::Begin() {
    if (m_widths[COLUMN_TIME] == 0) m_widths = TYPICAL_WIDTHS;
    MeasureLine(TITLES);
    size_t nTotal = std::accumulate(m_widths.begin(), m_widths.end(), (COLUMN_COUNT - 1) * GAP);
    for (const auto& step : SHRINK_STEPS) {
        size_t& nWidth = m_widths[step.nColumn];
        if (m_terminal.nWidth == 0 || nTotal <= m_terminal.nWidth || nWidth <= step.nLeast) continue;
        const size_t nTaken = std::min(nTotal - m_terminal.nWidth, nWidth - step.nLeast);
        nWidth -= nTaken;
        nTotal -= nTaken;
    }
    if (nTotal < m_terminal.nWidth) m_widths[COLUMN_URL] += m_terminal.nWidth - nTotal;
}

void TableWriter::Write(const tagReportRow& row) {
    if (!m_bTitled) WriteLine(TITLES);
    m_bTitled = true;
    WriteLine(Cells(row));
}

void TableWriter::End() {
    if (!m_bTitled) m_out << "no blocked requests\n";
}

TableWriter::Line TableWriter::Cells(const tagReportRow& row) const {
    const auto visible = [this](std::string_view text) { return VisibleText(text, m_terminal.bUtf8); };
    return {LocalTimeText(row.nTime), visible(row.szUser), visible(ReasonText(row)), visible(row.szURL)};
}

void TableWriter::MeasureLine(const Line& line) {
    for (size_t n = 0; n < COLUMN_COUNT; ++n)
        m_widths[n] = std::max(m_widths[n], DisplayWidth(line[n]));
}

void TableWriter::WriteLine(const Line& line) {
    size_t nPending = 0;
    for (size_t n = 0; n < COLUMN_COUNT; ++n) {
        const bool bCut = m_terminal.nWidth != 0;
        const std::string cell = bCut ? FitText(line[n], m_widths[n], m_terminal.bUtf8) : line[n];
        if (!cell.empty()) m_out << std::string(nPending, ' ') << cell;
        const size_t nShown = DisplayWidth(cell);
        if (!cell.empty()) nPending = 0;
        nPending += std::max(m_widths[n], nShown) - nShown + GAP;
    }
    m_out << '\n';
}
