#include "modules/store/store_sql.h"

#include <cerrno>
#include <cstdio>

namespace {
int CodeOf(sqlite3* pDb, int nSqlite);
int CodeOfSystemError(int nErrno);
const char* TextOf(int nCode);
}  // namespace

int StoreError(tagStore* pStore, int nSqlite) {
    const int nCode = CodeOf(pStore->pDb, nSqlite);
    if (nCode == STORE_OK) return STORE_OK;
    return StoreRefusal(pStore, nCode, pStore->pDb ? sqlite3_errmsg(pStore->pDb) : sqlite3_errstr(nSqlite));
}

int StoreRefusal(tagStore* pStore, int nCode, const char* szDetail) {
    // A file that is not there has no more to tell.
    const bool bDetail = szDetail && nCode != STORE_MISSING;
    std::snprintf(pStore->szError, sizeof pStore->szError, bDetail ? "%s: %s (%s)" : "%s: %s", pStore->szPath,
                  TextOf(nCode), szDetail);
    return nCode;
}

int RunSql(tagStore* pStore, const char* szSql) {
    return StoreError(pStore, sqlite3_exec(pStore->pDb, szSql, nullptr, nullptr, nullptr));
}

int ReadNumber(tagStore* pStore, const char* szSql, int64_t* pNumber) {
    sqlite3_stmt* pStatement = PrepareSql(pStore, szSql);
    *pNumber = StepRow(pStatement) ? sqlite3_column_int64(pStatement, 0) : 0;
    return FinishSql(pStore, pStatement);
}

sqlite3_stmt* PrepareSql(tagStore* pStore, const char* szSql) {
    sqlite3_stmt* pStatement = nullptr;
    sqlite3_prepare_v2(pStore->pDb, szSql, -1, &pStatement, nullptr);
    return pStatement;
}

void BindText(sqlite3_stmt* pStatement, int nParameter, std::string_view text) {
    if (pStatement) sqlite3_bind_text(pStatement, nParameter, text.data(), int(text.size()), SQLITE_STATIC);
}

void BindNumber(sqlite3_stmt* pStatement, int nParameter, int64_t nNumber) {
    if (pStatement) sqlite3_bind_int64(pStatement, nParameter, nNumber);
}

int StepRow(sqlite3_stmt* pStatement) {
    return pStatement && sqlite3_step(pStatement) == SQLITE_ROW;
}

const char* ColumnText(sqlite3_stmt* pStatement, int nColumn) {
    const unsigned char* szText = sqlite3_column_text(pStatement, nColumn);
    return szText ? reinterpret_cast<const char*>(szText) : "";
}

int FinishSql(tagStore* pStore, sqlite3_stmt* pStatement) {
    if (!pStatement) return StoreError(pStore, sqlite3_errcode(pStore->pDb));
    return StoreError(pStore, sqlite3_finalize(pStatement));
}

namespace {
int CodeOf(sqlite3* pDb, int nSqlite) {
    switch (nSqlite & 0xFF) {
        case SQLITE_OK:
        case SQLITE_ROW:
        case SQLITE_DONE:
            return STORE_OK;
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return STORE_LOCKED;
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
            return STORE_CORRUPT;
        case SQLITE_READONLY:
        case SQLITE_PERM:
        case SQLITE_AUTH:
            return STORE_DENIED;
        case SQLITE_FULL:
            return STORE_FULL;
        case SQLITE_NOMEM:
            return STORE_NO_MEMORY;
        case SQLITE_CANTOPEN:
        case SQLITE_IOERR:
            return pDb ? CodeOfSystemError(sqlite3_system_errno(pDb)) : STORE_FAILED;
        default:
            return STORE_FAILED;
    }
}

int CodeOfSystemError(int nErrno) {
    switch (nErrno) {
        case ENOENT:
        case ENOTDIR:
            return STORE_MISSING;
        case EACCES:
        case EPERM:
        case EROFS:
            return STORE_DENIED;
        case ENOSPC:
        case EDQUOT:
            return STORE_FULL;
        case ENOMEM:
            return STORE_NO_MEMORY;
        default:
            return STORE_FAILED;
    }
}

const char* TextOf(int nCode) {
    switch (nCode) {
        case STORE_MISSING:
            return "there is no such store";
        case STORE_LOCKED:
            return "the store is locked by another program";
        case STORE_CORRUPT:
            return "the file is damaged or is no websec store";
        case STORE_NEWER:
            return "the store was made by a newer version of websec";
        case STORE_DENIED:
            return "no permission to use the store";
        case STORE_FULL:
            return "no space left on the disk";
        case STORE_NO_MEMORY:
            return "out of memory";
        case STORE_BAD_VALUE:
            return "the value cannot be kept";
        default:
            return "the store cannot be used";
    }
}
}  // namespace
