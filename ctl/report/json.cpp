#include "ctl/report/json.h"

#include "ctl/report/fields.h"

void JsonWriter::Begin() {
    if (!m_bLines) m_out << '[';
}

void JsonWriter::Write(const tagReportRow& row) {
    Json object;
    for (const auto& field : REPORT_FIELDS)
        object[field.szName] = field.pfnValue(row);
    if (!m_bLines) m_out << (m_bFirst ? "\n  " : ",\n  ");
    m_out << JsonText(object, -1);
    if (m_bLines) m_out << '\n';
    m_bFirst = false;
}

void JsonWriter::End() {
    if (!m_bLines) m_out << (m_bFirst ? "]\n" : "\n]\n");
}
