// Why a request was blocked, in the words of the command line and of every form of report.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "modules/store/store_reports.h"

// "block list", "category", "phishing" or "harmful"; "other" for a result that blocks nothing.
const char* ReasonName(uint32_t nResult);

// The results with this reason, as in tagReportFilter; 0 for a text that is none. "block-list" and
// "blocklist" will do too.
uint32_t ReasonMask(std::string_view text);

// The reason and what it was found by: "block list", "category: Gambling", "harmful: EICAR (3 times)".
std::string ReasonText(const tagReportRow& row);
