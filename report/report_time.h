// The time of a report, as text for people.
#pragma once

#include <cstdint>

// Writes the present local time into szBuffer of nSize bytes, in the manner of strftime(3). Returns szBuffer,
// or null when the text is empty or does not fit; the buffer's content is then not defined. Any thread.
[[gnu::format(strftime, 3, 0)]] char* FormatReportTime(char* szBuffer, uint32_t nSize, const char* szFormat);
