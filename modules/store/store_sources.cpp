#include "modules/store/store_sources.h"

#include "modules/store/store_sql.h"

int PutStoredSource(tagStore* pStore, const tagStoredSource* pSource) {
    sqlite3_stmt* pStatement =
        PrepareSql(pStore,
                   "REPLACE INTO sources (file, kind, name, category, origin, imported, accepted, rejected, "
                   "duplicates) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)");
    BindNumber(pStatement, 1, pSource->nFile);
    BindText(pStatement, 2, pSource->szKind);
    BindText(pStatement, 3, pSource->szName);
    BindNumber(pStatement, 4, pSource->nCategory);
    BindText(pStatement, 5, pSource->szOrigin);
    BindNumber(pStatement, 6, pSource->nImported);
    BindNumber(pStatement, 7, pSource->nAccepted);
    BindNumber(pStatement, 8, pSource->nRejected);
    BindNumber(pStatement, 9, pSource->nDuplicates);
    StepRow(pStatement);
    return FinishSql(pStore, pStatement);
}

int RemoveStoredSource(tagStore* pStore, const char* szKind, const char* szName) {
    sqlite3_stmt* pStatement = PrepareSql(pStore, "DELETE FROM sources WHERE kind = ? AND name = ?");
    BindText(pStatement, 1, szKind);
    BindText(pStatement, 2, szName);
    StepRow(pStatement);
    const int nResult = FinishSql(pStore, pStatement);
    if (nResult != STORE_OK) return nResult;
    return sqlite3_changes(pStore->pDb) == 0 ? STORE_NOT_FOUND : STORE_OK;
}

int ForEachStoredSource(tagStore* pStore, StoredSourceFn pfnSource, void* pContext) {
    sqlite3_stmt* pStatement =
        PrepareSql(pStore,
                   "SELECT file, kind, name, category, origin, imported, accepted, rejected, duplicates "
                   "FROM sources ORDER BY kind, name");
    while (StepRow(pStatement)) {
        const tagStoredSource source = {
            .nFile = sqlite3_column_int64(pStatement, 0),
            .szKind = ColumnText(pStatement, 1),
            .szName = ColumnText(pStatement, 2),
            .nCategory = sqlite3_column_int(pStatement, 3),
            .szOrigin = ColumnText(pStatement, 4),
            .nImported = sqlite3_column_int64(pStatement, 5),
            .nAccepted = sqlite3_column_int64(pStatement, 6),
            .nRejected = sqlite3_column_int64(pStatement, 7),
            .nDuplicates = sqlite3_column_int64(pStatement, 8),
        };
        if (pfnSource(&source, pContext) != 0) break;
    }
    return FinishSql(pStore, pStatement);
}
