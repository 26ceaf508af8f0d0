#include "ctl/report/store.h"

void ReportStore::ForEach(const tagReportFilter& filter,
                          const std::function<bool(const tagReportRow&)>& handle) {
    auto call = [&handle](const tagReportRow& row) { return handle(row) ? 0 : 1; };
    const auto callBack = [](const tagReportRow* pRow, void* pContext) {
        return (*static_cast<decltype(call)*>(pContext))(*pRow);
    };
    Succeeded(ForEachReport(&m_store, &filter, callBack, &call));
}

std::vector<tagReportCount> ReportStore::Count(const tagReportFilter& filter, int nBy) {
    std::vector<tagReportCount> counts;
    const auto append = [](const char* szKey, int64_t nCount, void* pContext) {
        static_cast<decltype(counts)*>(pContext)->push_back({szKey, nCount});
        return 0;
    };
    Succeeded(CountReports(&m_store, &filter, nBy, append, &counts));
    return counts;
}

int64_t ReportStore::Purge(int64_t nBefore) {
    int64_t nDeleted = 0;
    Succeeded(PurgeReports(&m_store, nBefore, &nDeleted));
    return nDeleted;
}

int64_t ReportStore::Lost() {
    int64_t nLost = 0;
    Succeeded(ReadLostReports(&m_store, &nLost));
    return nLost;
}
