// The text form of the protected data files: what `datafile build` reads and `datafile show` prints.
//
// One record a line. Blanks around it, empty lines, and a '#' at the start of a line or behind a blank with
// all that follows it are left out. A record is
//   a pattern         \xHH stands for that byte, \\ for a backslash, \e alone for the empty pattern
//   a range           ADDRESS, ADDRESS/BITS or ADDRESS/MASK
//   a port            1 to 65535
//   a category status on, off or a number up to 255
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ctl/data_file_kind.h"

// The records that the text describes. Appends to `warnings` a sentence for each surprise. Throws CtlError
// with line, value and reason for the first line that cannot be taken, or when there are too many or (for
// the category status) not exactly one.
Records ParseRecords(const tagDataFileKind& kind, std::string_view text, std::vector<std::string>& warnings);

// One line for each record. ParseRecords makes the same records of them, but for bytes that no reader looks
// at.
std::vector<std::string> FormatRecords(const tagDataFileKind& kind, const Records& records);
