// Records of comma-separated values (RFC 4180) that stand on one line each.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Where in a record the URL stands and what it is said to do; a column that is not there is NO_CSV_COLUMN.
constexpr size_t NO_CSV_COLUMN = static_cast<size_t>(-1);
struct tagCsvColumns {
    size_t nURL;
    size_t nThreat;
};
constexpr tagCsvColumns URLHAUS_COLUMNS = {2, 5};

class CsvRow {
  public:
    // False when the quotes do not fit; the fields are of no use then.
    bool Split(std::string_view line);
    // Of the last line, without their quotes.
    std::span<const std::string_view> Fields() const { return m_fields; }

  private:
    std::string m_text;  // the fields, one after the other
    std::vector<std::string_view> m_fields;
};

// Whether the fields are a heading: several, one of them "url". Then *pColumns is set.
bool FindCsvColumns(std::span<const std::string_view> fields, tagCsvColumns* pColumns);
