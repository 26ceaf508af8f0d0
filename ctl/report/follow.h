// Rows as they come.
#pragma once

#include <sstream>

#include "ctl/report/store.h"
#include "ctl/report/writer.h"

// Writes the newest rows, as many as the filter's limit says, the oldest of them first; then each row soon
// after it was stored. Returns after SIGINT or SIGTERM, and when nobody reads standard output any more. The
// writer writes into text. Changes what these signals and SIGPIPE do, for good.
void FollowReports(ReportStore& store, tagReportFilter filter, ReportWriter& writer,
                   std::ostringstream& text);
