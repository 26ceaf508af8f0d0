// The formats by name, and which one a file is in.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "ctl/import/line_reader.h"

// "plain", "hosts", "adblock", "csv".
const char* ListFormatName(ListFormat format);
std::optional<ListFormat> FindListFormat(std::string_view name);

// The format of what begins with these bytes, which end with a whole line unless it is all there is.
ListFormat GuessListFormat(std::string_view beginning);

// Why what begins with these bytes can be no list: a binary file, a web page. Null when it can.
const char* WhyNoList(std::string_view beginning);
