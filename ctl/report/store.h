// The reports in the store as websecctl uses them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "ctl/store_connection.h"
#include "modules/store/store_reports.h"

struct tagReportCount {
    std::string key;
    int64_t nCount;
};

class ReportStore : StoreConnection {
  public:
    ReportStore() : StoreConnection(STORE_OPEN_EXISTING) {}

    // Calls handle for each row that is meant, until it answers false. It must not use this store.
    void ForEach(const tagReportFilter& filter, const std::function<bool(const tagReportRow&)>& handle);
    // nBy is COUNT_BY_*.
    std::vector<tagReportCount> Count(const tagReportFilter& filter, int nBy);
    // Deletes what is older than nBefore; answers how many rows went.
    int64_t Purge(int64_t nBefore);
    // How many records were never stored.
    int64_t Lost();
};
