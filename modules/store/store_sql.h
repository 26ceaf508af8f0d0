// Statements on a store, for the store's own files and the writer of reports. A step that fails leaves the
// store's error text and answers a STORE_* code, so that an operation is a short chain of steps.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <string_view>

#include "modules/store/store.h"

// Turns an SQLite result of this connection into a STORE_* code and its text. SQLITE_OK, ROW and DONE are
// STORE_OK and leave the text alone.
int StoreError(tagStore* pStore, int nSqlite);
// Sets the text that belongs to nCode and returns nCode. szDetail may be null.
int StoreRefusal(tagStore* pStore, int nCode, const char* szDetail);

// Runs statements without parameters or rows.
int RunSql(tagStore* pStore, const char* szSql);
// The first column of the first row; 0 without one.
int ReadNumber(tagStore* pStore, const char* szSql, int64_t* pNumber);

// A statement's life: PrepareSql, binds, StepRow until it answers 0 (once for one without rows), FinishSql.
// All accept the null of a failed PrepareSql and do nothing; FinishSql then answers why it failed.
sqlite3_stmt* PrepareSql(tagStore* pStore, const char* szSql);
// Parameters count from 1. The text must stay until the statement is finished.
void BindText(sqlite3_stmt* pStatement, int nParameter, std::string_view text);
void BindNumber(sqlite3_stmt* pStatement, int nParameter, int64_t nNumber);
// 1: a row is there; 0: no further row, or a failure, which FinishSql answers.
int StepRow(sqlite3_stmt* pStatement);
// Column of the present row; never null, valid until the next step.
const char* ColumnText(sqlite3_stmt* pStatement, int nColumn);
// Frees the statement and answers how its last step ended.
int FinishSql(tagStore* pStore, sqlite3_stmt* pStatement);
