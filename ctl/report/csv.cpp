#include "ctl/report/csv.h"

#include "ctl/report/fields.h"

namespace {

std::string Field(const Json& value);

}  // namespace

void CsvWriter::Begin() {
    const char* szBetween = "";
    for (const auto& field : REPORT_FIELDS) {
        m_out << szBetween << field.szName;
        szBetween = ",";
    }
    m_out << "\r\n";
}

void CsvWriter::Write(const tagReportRow& row) {
    const char* szBetween = "";
    for (const auto& field : REPORT_FIELDS) {
        m_out << szBetween << Field(field.pfnValue(row));
        szBetween = ",";
    }
    m_out << "\r\n";
}

std::string CsvField(std::string_view text) {
    constexpr std::string_view FORMULA_STARTS = "=+-@\t\r";
    std::string field;
    if (!text.empty() && FORMULA_STARTS.find(text[0]) != std::string_view::npos) field += '\'';
    field += text;
    if (field.find_first_of(",\"\r\n") == std::string::npos) return field;
    for (size_t n = 0; (n = field.find('"', n)) != std::string::npos; n += 2)
        field.insert(n, 1, '"');
    return '"' + field + '"';
}

namespace {

std::string Field(const Json& value) {
    if (value.is_null()) return "";
    return value.is_string() ? CsvField(value.get_ref<const std::string&>()) : value.dump();
}

}  // namespace
