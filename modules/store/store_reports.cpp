#include "modules/store/store_reports.h"

#include <cstdio>
#include <iterator>

#include "modules/store/lost_aside.h"
#include "modules/store/store_sql.h"

namespace {
// The conditions of a filter; one whose parameter is null holds for every row. Ids count from 1; asked like
// this, only the rows behind the id are read.
constexpr char CONDITIONS[] =
    " FROM reports WHERE id > ifnull(?1, 0) AND (?2 IS NULL OR time >= ?2)"
    " AND (?3 IS NULL OR time < ?3) AND (?4 IS NULL OR user = ?4)"
    " AND (?5 IS NULL OR host = lower(?5) OR substr(host, -length(?5) - 1) = '.' || lower(?5))"
    " AND (?6 IS NULL OR (?6 >> result) & 1)";

struct tagCountKey {
    const char* szKey;    // the column or expression to count by
    const char* szWhere;  // a further condition
    const char* szOrder;
};
constexpr tagCountKey COUNT_KEYS[] = {
    {"result", "", "2 DESC, 1"},
    {"user", "", "2 DESC, 1"},
    {"name", " AND result = 6", "2 DESC, 1"},
    {"host", "", "2 DESC, 1"},
    {"strftime('%Y-%m-%d', time, 'unixepoch', 'localtime')", "", "1"},
};
static_assert(std::size(COUNT_KEYS) == COUNT_BY_DAY + 1);

void BindFilter(sqlite3_stmt* pStatement, const tagReportFilter& filter);
void BindNumberUnless0(sqlite3_stmt* pStatement, int nParameter, int64_t nNumber);
tagReportRow PresentRow(sqlite3_stmt* pStatement);
}  // namespace

int ForEachReport(tagStore* pStore, const tagReportFilter* pFilter, ReportRowFn pfnRow, void* pContext) {
    char szSql[1024];
    std::snprintf(szSql, sizeof szSql,
                  "SELECT id, time, time_text, user, url, host, result, category, name, reason, action, "
                  "threat, type, parts%s ORDER BY id %s LIMIT ?7",
                  CONDITIONS, pFilter->bOldestFirst ? "ASC" : "DESC");
    sqlite3_stmt* pStatement = PrepareSql(pStore, szSql);
    BindFilter(pStatement, *pFilter);
    while (StepRow(pStatement)) {
        const tagReportRow row = PresentRow(pStatement);
        if (pfnRow(&row, pContext) != 0) break;
    }
    return FinishSql(pStore, pStatement);
}

int CountReports(tagStore* pStore, const tagReportFilter* pFilter, int nBy, ReportCountFn pfnCount,
                 void* pContext) {
    if (nBy < 0 || nBy > COUNT_BY_DAY) return StoreRefusal(pStore, STORE_BAD_VALUE, "nothing to count by");
    const tagCountKey& key = COUNT_KEYS[nBy];
    char szSql[1024];
    std::snprintf(szSql, sizeof szSql, "SELECT %s, count(*)%s%s GROUP BY 1 ORDER BY %s LIMIT ?7", key.szKey,
                  CONDITIONS, key.szWhere, key.szOrder);
    sqlite3_stmt* pStatement = PrepareSql(pStore, szSql);
    BindFilter(pStatement, *pFilter);
    while (StepRow(pStatement)) {
        const char* szKey = ColumnText(pStatement, 0);
        if (pfnCount(szKey, sqlite3_column_int64(pStatement, 1), pContext) != 0) break;
    }
    return FinishSql(pStore, pStatement);
}

int PurgeReports(tagStore* pStore, int64_t nBefore, int64_t* pDeleted) {
    sqlite3_stmt* pStatement = PrepareSql(pStore, "DELETE FROM reports WHERE time < ?");
    BindNumber(pStatement, 1, nBefore);
    StepRow(pStatement);
    const int nResult = FinishSql(pStore, pStatement);
    *pDeleted = nResult == STORE_OK ? sqlite3_changes64(pStore->pDb) : 0;
    return nResult;
}

int ReadLostReports(tagStore* pStore, int64_t* pLost) {
    const int nResult = ReadNumber(pStore, "SELECT value FROM counters WHERE name = 'lost'", pLost);
    *pLost += ReadLostAside(pStore);
    return nResult;
}

int AddLostReports(tagStore* pStore, int64_t nLost) {
    sqlite3_stmt* pStatement =
        PrepareSql(pStore, "UPDATE counters SET value = value + ? WHERE name = 'lost'");
    BindNumber(pStatement, 1, nLost);
    StepRow(pStatement);
    return FinishSql(pStore, pStatement);
}

namespace {
void BindFilter(sqlite3_stmt* pStatement, const tagReportFilter& filter) {
    BindNumberUnless0(pStatement, 1, filter.nAfterId);
    BindNumberUnless0(pStatement, 2, filter.nFrom);
    BindNumberUnless0(pStatement, 3, filter.nUntil);
    if (filter.szUser) BindText(pStatement, 4, filter.szUser);
    if (filter.szHost) BindText(pStatement, 5, filter.szHost);
    BindNumberUnless0(pStatement, 6, filter.nResultMask);
    BindNumber(pStatement, 7, filter.nLimit != 0 ? filter.nLimit : -1);
}

void BindNumberUnless0(sqlite3_stmt* pStatement, int nParameter, int64_t nNumber) {
    if (nNumber != 0) BindNumber(pStatement, nParameter, nNumber);
}

tagReportRow PresentRow(sqlite3_stmt* pStatement) {
    const auto number = [=](int nColumn) { return sqlite3_column_int64(pStatement, nColumn); };
    const auto text = [=](int nColumn) { return ColumnText(pStatement, nColumn); };
    return {
        .nId = number(0),
        .nTime = number(1),
        .szTime = text(2),
        .szUser = text(3),
        .szURL = text(4),
        .szHost = text(5),
        .nResult = static_cast<uint32_t>(number(6)),
        .nCategory = static_cast<uint32_t>(number(7)),
        .szName = text(8),
        .szReason = text(9),
        .szAction = text(10),
        .szThreat = text(11),
        .nType = static_cast<uint32_t>(number(12)),
        .nParts = static_cast<uint32_t>(number(13)),
    };
}
}  // namespace
