// Report records into the store. For the threads and the result codes see modules/store/store.h.
#pragma once

#include <cstdint>

#include "modules/store/store.h"

// Stores one record: nType is a report type, with the record of report/report_records.h; nArrived, in seconds
// since 1970, stands in for a time that the record does not tell. Joins the two records of one block as
// modules/store/store_reports.h tells. Called inside a change. STORE_BAD_VALUE for a type that is none.
int StoreReport(tagStore* pStore, int nType, const void* pRecord, int64_t nArrived);

// Deletes the oldest rows when there are more than nKept, or when the database holds more than nBytes. Called
// inside a change.
int TrimReports(tagStore* pStore, int64_t nKept, int64_t nBytes);
