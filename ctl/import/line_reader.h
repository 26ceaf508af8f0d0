// What one line of a public list says: which names or URLs it holds, or why it cannot be taken. Comments and
// blank lines hold nothing. Whether a name may stand in a list is judged elsewhere (url_admission.h).
//
// Plain: a name or URL; "*." or "." in front of a name; a comment behind a blank and "#".
// Hosts (hosts(5)): an address that leads nowhere, then names.
// Adblock: "||name^" with options that do not limit it, "@@||name^" takes a name back.
// Csv (RFC 4180, one record a line): the column "url" and, for the threat's name, "threat" or "target", as a
// heading before the first record tells, which may be a comment; without one the columns of URLhaus.
#pragma once

#include <string_view>
#include <vector>

#include "ctl/import/csv_row.h"

enum class ListFormat { Plain, Hosts, Adblock, Csv };

// Texts lie in the line or in the reader, until its next line.
struct tagLineItem {
    std::string_view text;    // name or URL
    std::string_view threat;  // its name, or empty
    bool bSubdomains;         // the line says that it means sub-domains, too
    bool bBlocks;             // the line says that the name is to be blocked
    bool bException;          // or that it is not to be
};

class LineReader {
  public:
    explicit LineReader(ListFormat format) : m_format(format) {}

    // Reads a line (without its end); items is overwritten. Null, or why the line cannot be taken: an English
    // text without a full stop that lives as long as the program.
    const char* Read(std::string_view line, std::vector<tagLineItem>& items);

  private:
    const char* ReadCsv(std::string_view line, std::vector<tagLineItem>& items);

    ListFormat m_format;
    CsvRow m_row;
    tagCsvColumns m_columns = URLHAUS_COLUMNS;
    bool m_bRecords = false;  // one was read, so no heading follows
};

// Takes the text up to the next blank off the front of a trimmed text, and the blanks behind it.
std::string_view TakeWord(std::string_view& text);
