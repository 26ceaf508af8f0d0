#include "ctl/import/csv_row.h"

#include <strings.h>

#include <algorithm>
#include <initializer_list>

namespace {

size_t ColumnNamed(std::span<const std::string_view> fields, std::initializer_list<std::string_view> names);

}  // namespace

bool CsvRow::Split(std::string_view line) {
    m_fields.clear();
    m_text.clear();
    m_text.reserve(line.size());  // fields point into it, so it must not move
    bool bMore = true;
    while (bMore) {
        const size_t nFirst = m_text.size();
        if (line.starts_with('"')) {
            size_t nSkip = 1;  // what follows a closing quote at once is a quote in the text
            do {
                const size_t nEnd = line.find('"', 1);
                if (nEnd == line.npos) return false;
                m_text.append(line.substr(nSkip, nEnd - nSkip));
                line.remove_prefix(nEnd + 1);
                nSkip = 0;
            } while (line.starts_with('"'));
            if (!line.empty() && line[0] != ',') return false;
        } else {
            m_text.append(line.substr(0, line.find(',')));
            line.remove_prefix(m_text.size() - nFirst);
        }
        m_fields.push_back(std::string_view(m_text).substr(nFirst));
        bMore = !line.empty();
        if (bMore) line.remove_prefix(1);
    }
    return true;
}

bool FindCsvColumns(std::span<const std::string_view> fields, tagCsvColumns* pColumns) {
    const size_t nURL = ColumnNamed(fields, {"url"});
    if (fields.size() < 2 || nURL == NO_CSV_COLUMN) return false;
    *pColumns = {nURL, ColumnNamed(fields, {"threat", "target"})};
    return true;
}

namespace {

size_t ColumnNamed(std::span<const std::string_view> fields, std::initializer_list<std::string_view> names) {
    for (size_t n = 0; n < fields.size(); ++n) {
        const std::string_view field = fields[n];
        const auto isName = [field](std::string_view name) {
            return field.size() == name.size() && strncasecmp(field.data(), name.data(), name.size()) == 0;
        };
        if (std::any_of(names.begin(), names.end(), isName)) return n;
    }
    return NO_CSV_COLUMN;
}

}  // namespace
