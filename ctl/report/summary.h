// The figures as text with bars, and as a document.
#pragma once

#include <string>

#include "ctl/output.h"
#include "ctl/report/counts.h"
#include "ctl/terminal.h"

Json SummaryDocument(const tagReportCounts& counts);

// Without a line end behind the last line.
std::string SummaryText(const tagReportCounts& counts, const tagTerminal& terminal);
