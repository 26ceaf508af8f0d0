#include "ctl/import/line_reader.h"

#include <algorithm>

#include "common/ascii.h"
#include "ctl/import/adblock_line.h"
#include "ctl/import/hosts_line.h"

namespace {

constexpr std::string_view BLANKS = " \t\r\v\f";

const char* ReadPlainLine(std::string_view line, std::vector<tagLineItem>& items);

}  // namespace

const char* LineReader::Read(std::string_view line, std::vector<tagLineItem>& items) {
    items.clear();
    line = TrimBlanks(line);
    if (line.empty()) return nullptr;
    switch (m_format) {
        case ListFormat::Hosts:
            return ReadHostsLine(line, items);
        case ListFormat::Adblock:
            return ReadAdblockLine(line, items);
        case ListFormat::Csv:
            return ReadCsv(line, items);
        default:
            return ReadPlainLine(line, items);
    }
}

const char* LineReader::ReadCsv(std::string_view line, std::vector<tagLineItem>& items) {
    const bool bComment = line.starts_with('#');
    const bool bWhole = m_row.Split(TrimBlanks(bComment ? line.substr(1) : line));
    if (bWhole && !m_bRecords && FindCsvColumns(m_row.Fields(), &m_columns)) return nullptr;
    if (bComment) return nullptr;
    if (!bWhole) return "has a quote that is not closed or not at a field's ends";
    m_bRecords = true;
    const auto fields = m_row.Fields();
    if (m_columns.nURL >= fields.size()) return "has no column for the URL";
    const std::string_view threat = m_columns.nThreat < fields.size() ? fields[m_columns.nThreat] : "";
    items.push_back({TrimBlanks(fields[m_columns.nURL]), TrimBlanks(threat), false, false, false});
    return nullptr;
}

std::string_view TakeWord(std::string_view& text) {
    const std::string_view word = text.substr(0, text.find_first_of(BLANKS));
    text.remove_prefix(word.size());
    text.remove_prefix(std::min(text.find_first_not_of(BLANKS), text.size()));
    return word;
}

namespace {

const char* ReadPlainLine(std::string_view line, std::vector<tagLineItem>& items) {
    if (line.find_first_of("#;!") == 0 || line.starts_with("//")) return nullptr;
    const std::string_view name = TakeWord(line);
    if (!line.empty() && !line.starts_with('#'))
        return "has more than one word; a line holds one name or URL";
    items.push_back({name, {}, name.starts_with("*.") || name.starts_with('.'), false, false});
    return nullptr;
}

}  // namespace
