#include "modules/store/report_intake.h"

#include "modules/store/report_decode.h"
#include "modules/store/store_reports.h"
#include "modules/store/store_sql.h"

namespace {
int64_t FindOtherHalf(tagStore* pStore, const tagDecodedReport& report, int* pResult);
int CompleteRow(tagStore* pStore, int64_t nId, const tagDecodedReport& report);
int InsertRow(tagStore* pStore, const tagDecodedReport& report);
void BindTypedColumns(sqlite3_stmt* pStatement, const tagDecodedReport& report);
}  // namespace

int StoreReport(tagStore* pStore, int nType, const void* pRecord, int64_t nArrived) {
    tagDecodedReport report;
    if (DecodeReport(nType, pRecord, &report) != 0) {
        return StoreRefusal(pStore, STORE_BAD_VALUE, "no report type");
    }
    if (report.nTime == -1) report.nTime = nArrived;
    int nResult = STORE_OK;
    const int64_t nOther = FindOtherHalf(pStore, report, &nResult);
    if (nResult != STORE_OK) return nResult;
    return nOther != 0 ? CompleteRow(pStore, nOther, report) : InsertRow(pStore, report);
}

int TrimReports(tagStore* pStore, int64_t nKept, int64_t nBytes) {
    // Ids only grow, and gaps only mean that fewer rows are kept.
    sqlite3_stmt* pStatement =
        PrepareSql(pStore, "DELETE FROM reports WHERE id <= (SELECT max(id) FROM reports) - ?");
    BindNumber(pStatement, 1, nKept);
    StepRow(pStatement);
    int nResult = FinishSql(pStore, pStatement);
    int64_t nUsed = 0;
    if (nResult == STORE_OK) {
        nResult = ReadNumber(pStore,
                             "SELECT (page_count - freelist_count) * page_size "
                             "FROM pragma_page_count, pragma_freelist_count, pragma_page_size",
                             &nUsed);
    }
    if (nResult != STORE_OK || nUsed <= nBytes) return nResult;
    // A tenth at once, so that this is not done for every record.
    return RunSql(pStore,
                  "DELETE FROM reports WHERE id <= "
                  "(SELECT min(id) + (max(id) - min(id)) / 10 FROM reports)");
}

namespace {
// The id of the row that this record completes, or 0. The two records of a block read the clock one after the
// other, so their times may be a second apart; the same second goes first. Each search ends at the first
// entry of the index, however many blocks of one URL wait for their other half.
int64_t FindOtherHalf(tagStore* pStore, const tagDecodedReport& report, int* pResult) {
    sqlite3_stmt* pStatement = PrepareSql(pStore,
                                          "SELECT id FROM reports WHERE parts <> 3 AND url = ? AND user = ? "
                                          "AND parts = ? AND time = ? ORDER BY id LIMIT 1");
    BindText(pStatement, 1, report.szURL);
    BindText(pStatement, 2, report.szUser);
    BindNumber(pStatement, 3, REPORT_PARTS_ALL - report.nParts);
    int64_t nId = 0;
    int nStepped = SQLITE_OK;
    for (const int64_t nApart : {0, 1, -1}) {
        BindNumber(pStatement, 4, report.nTime + nApart);
        if (StepRow(pStatement)) nId = sqlite3_column_int64(pStatement, 0);
        nStepped = sqlite3_reset(pStatement);
        if (nId != 0 || nStepped != SQLITE_OK) break;
    }
    const int nFailed = StoreError(pStore, nStepped);
    const int nFinished = FinishSql(pStore, pStatement);
    *pResult = nFailed != STORE_OK ? nFailed : nFinished;
    return nId;
}

// The typed record knows more; of the client record only the name may be missing so far.
int CompleteRow(tagStore* pStore, int64_t nId, const tagDecodedReport& report) {
    sqlite3_stmt* pStatement = nullptr;
    if (report.nParts == REPORT_PART_TYPED) {
        pStatement = PrepareSql(pStore,
                                "UPDATE reports SET parts = 3, result = ?2, category = ?3, reason = ?4, "
                                "action = ?5, threat = ?6, type = ?7, "
                                "name = CASE ?8 WHEN '' THEN name ELSE ?8 END WHERE id = ?1");
        BindTypedColumns(pStatement, report);
    } else {
        pStatement = PrepareSql(pStore,
                                "UPDATE reports SET parts = 3, "
                                "name = CASE name WHEN '' THEN ?8 ELSE name END WHERE id = ?1");
    }
    BindNumber(pStatement, 1, nId);
    BindText(pStatement, 8, report.szName);
    StepRow(pStatement);
    return FinishSql(pStore, pStatement);
}

int InsertRow(tagStore* pStore, const tagDecodedReport& report) {
    sqlite3_stmt* pStatement = PrepareSql(
        pStore,
        "INSERT INTO reports (parts, result, category, reason, action, threat, type, name, time, "
        "time_text, user, url, host) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13)");
    BindNumber(pStatement, 1, report.nParts);
    BindTypedColumns(pStatement, report);
    BindText(pStatement, 8, report.szName);
    BindNumber(pStatement, 9, report.nTime);
    BindText(pStatement, 10, report.szTime);
    BindText(pStatement, 11, report.szUser);
    BindText(pStatement, 12, report.szURL);
    BindText(pStatement, 13, report.szHost);
    StepRow(pStatement);
    return FinishSql(pStore, pStatement);
}

void BindTypedColumns(sqlite3_stmt* pStatement, const tagDecodedReport& report) {
    BindNumber(pStatement, 2, report.nResult);
    BindNumber(pStatement, 3, report.nCategory);
    BindText(pStatement, 4, report.szReason);
    BindText(pStatement, 5, report.szAction);
    BindText(pStatement, 6, report.szThreat);
    BindNumber(pStatement, 7, report.nType);
}
}  // namespace
