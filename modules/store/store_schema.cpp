#include "modules/store/store_schema.h"

#include "modules/store/store_sql.h"

namespace {
constexpr char TABLES[] = R"sql(
CREATE TABLE switches (
    name TEXT PRIMARY KEY,
    value INTEGER NOT NULL
) WITHOUT ROWID;
INSERT INTO switches VALUES
    ('browsing', 1), ('phishing', 1), ('category', 0), ('blocklist', 1), ('report', 1);

CREATE TABLE entries (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    list TEXT NOT NULL,
    text TEXT NOT NULL,
    subdomains INTEGER NOT NULL,
    added INTEGER NOT NULL,
    UNIQUE (list, text)
);

CREATE TABLE categories (
    id INTEGER PRIMARY KEY,
    blocked INTEGER NOT NULL
);

CREATE TABLE reports (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    parts INTEGER NOT NULL,
    time INTEGER NOT NULL,
    time_text TEXT NOT NULL,
    user TEXT NOT NULL,
    url TEXT NOT NULL,
    host TEXT NOT NULL,
    result INTEGER NOT NULL,
    category INTEGER NOT NULL,
    name TEXT NOT NULL,
    reason TEXT NOT NULL,
    action TEXT NOT NULL,
    threat TEXT NOT NULL,
    type INTEGER NOT NULL
);
-- Where the second record of a block looks for the first; complete rows are not in it.
CREATE INDEX reports_incomplete ON reports (url, user, parts, time) WHERE parts <> 3;

CREATE TABLE counters (
    name TEXT PRIMARY KEY,
    value INTEGER NOT NULL
) WITHOUT ROWID;
INSERT INTO counters VALUES ('lost', 0);
)sql";

// Since version 2. The lists themselves stand beside the store.
constexpr char SOURCES_TABLE[] = R"sql(
CREATE TABLE sources (
    file INTEGER PRIMARY KEY,
    kind TEXT NOT NULL,
    name TEXT NOT NULL,
    category INTEGER NOT NULL,
    origin TEXT NOT NULL,
    imported INTEGER NOT NULL,
    accepted INTEGER NOT NULL,
    rejected INTEGER NOT NULL,
    duplicates INTEGER NOT NULL,
    UNIQUE (kind, name)
);

PRAGMA user_version = 2;
)sql";

int BringUp(tagStore* pStore);
int FillEmpty(tagStore* pStore);
}  // namespace

int CreateSchema(tagStore* pStore) {
    // The journal mode belongs to the file and cannot be changed inside a transaction.
    if (const int nResult = RunSql(pStore, "PRAGMA journal_mode = WAL")) return nResult;
    return UpgradeSchema(pStore);
}

int UpgradeSchema(tagStore* pStore) {
    if (const int nResult = BeginStoreChange(pStore)) return nResult;
    const int nBrought = BringUp(pStore);
    const int nEnded = EndStoreChange(pStore, nBrought == STORE_OK);
    return nBrought != STORE_OK ? nBrought : nEnded;
}

namespace {
// The version is read again: another process may have been faster.
int BringUp(tagStore* pStore) {
    int64_t nVersion = 0;
    if (const int nResult = ReadNumber(pStore, "PRAGMA user_version", &nVersion)) return nResult;
    if (nVersion == STORE_SCHEMA_VERSION) return STORE_OK;
    if (nVersion == 0) {
        if (const int nResult = FillEmpty(pStore)) return nResult;
    }
    return RunSql(pStore, SOURCES_TABLE);
}

int FillEmpty(tagStore* pStore) {
    int64_t nTables = 0;
    if (const int nResult = ReadNumber(pStore, "SELECT count(*) FROM sqlite_master", &nTables))
        return nResult;
    if (nTables != 0) return StoreRefusal(pStore, STORE_CORRUPT, "it belongs to another program");
    return RunSql(pStore, TABLES);
}
}  // namespace
