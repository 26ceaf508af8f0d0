#include "modules/store/store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/copy_text.h"
#include "modules/store/store_schema.h"
#include "modules/store/store_sql.h"

namespace {
int ConnectStore(tagStore* pStore, const char* szFile, int nMode, int nBusyMs);
bool IsJournalPipe(const char* szFile);
int OpenStill(tagStore* pStore, const char* szFile);
int WaitForLock(void* pBusyMs, int nCalls);
int CreateStoreFile(tagStore* pStore, int nBusyMs);
int PutNewFile(tagStore* pStore, int nBusyMs);
int FillNewFile(tagStore* pStore, const char* szFile, int nBusyMs);
void RemoveDatabase(const char* szFile);
int SystemRefusal(tagStore* pStore, int nErrno);
int CheckVersion(tagStore* pStore, int nMode);
}  // namespace

const char* StorePath() {
    const char* szPath = secure_getenv("WEBSEC_DB");
    return szPath && *szPath ? szPath : STORE_FILE;
}

int OpenStore(tagStore* pStore, int nMode, int nBusyMs) {
    *pStore = {};
    int nResult = CopyText(pStore->szPath, StorePath()) == 0 ? STORE_OK : SystemRefusal(pStore, ENAMETOOLONG);
    if (nResult == STORE_OK && nMode == STORE_CREATE) nResult = CreateStoreFile(pStore, nBusyMs);
    if (nResult == STORE_OK) nResult = ConnectStore(pStore, pStore->szPath, nMode, nBusyMs);
    if (nResult != STORE_OK) CloseStore(pStore);
    return nResult;
}

void CloseStore(tagStore* pStore) {
    // With every statement finished this cannot fail; it rolls an open transaction back.
    sqlite3_close_v2(pStore->pDb);
    pStore->pDb = nullptr;
    pStore->bInChange = 0;
}

int BeginStoreChange(tagStore* pStore) {
    // Immediate: the wait for other writers is here, not in the middle of the change.
    const int nResult = RunSql(pStore, "BEGIN IMMEDIATE");
    if (nResult == STORE_OK) pStore->bInChange = 1;
    return nResult;
}

int EndStoreChange(tagStore* pStore, int bKeep) {
    if (!pStore->bInChange) return STORE_OK;
    pStore->bInChange = 0;
    const int nResult = bKeep ? RunSql(pStore, "COMMIT") : STORE_OK;
    // Some failures have rolled back by themselves; then there is nothing left to take back.
    if (!sqlite3_get_autocommit(pStore->pDb)) {
        sqlite3_exec(pStore->pDb, "ROLLBACK", nullptr, nullptr, nullptr);
    }
    return nResult;
}

namespace {
int ConnectStore(tagStore* pStore, const char* szFile, int nMode, int nBusyMs) {
    // SQLite would wait at it.
    if (nMode != STORE_READ_STILL && IsJournalPipe(szFile)) {
        return StoreRefusal(pStore, STORE_FAILED, "a pipe in the place of its journal");
    }
    const int nOpened =
        nMode == STORE_READ_STILL
            ? OpenStill(pStore, szFile)
            : sqlite3_open_v2(szFile, &pStore->pDb, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    if (nOpened != SQLITE_OK) return StoreError(pStore, nOpened);
    pStore->nBusyMs = nBusyMs;
    sqlite3_busy_handler(pStore->pDb, WaitForLock, &pStore->nBusyMs);
    return CheckVersion(pStore, nMode);
}

bool IsJournalPipe(const char* szFile) {
    char szJournal[sizeof tagStore::szPath + sizeof ".XXXXXX-journal"];
    struct stat journal {};
    std::snprintf(szJournal, sizeof szJournal, "%s-journal", szFile);
    return stat(szJournal, &journal) == 0 && S_ISFIFO(journal.st_mode);
}

// An SQLITE_* code. With "immutable" SQLite reads the database alone, so nothing may wait in the journal.
int OpenStill(tagStore* pStore, const char* szFile) {
    char szName[3 * sizeof pStore->szPath];
    struct stat file {};
    struct stat journal {};
    // SQLite would wait at a pipe.
    if (stat(szFile, &file) != 0 || !S_ISREG(file.st_mode)) return SQLITE_CANTOPEN;
    std::snprintf(szName, sizeof szName, "%s-wal", szFile);
    if (stat(szName, &journal) == 0 && journal.st_size != 0) return SQLITE_READONLY;
    size_t nLength = static_cast<size_t>(std::snprintf(szName, sizeof szName, "file:"));
    for (; *szFile && nLength + sizeof "%00?immutable=1" < sizeof szName; ++szFile) {
        const bool bPlain = *szFile != '%' && *szFile != '?' && *szFile != '#';
        nLength += static_cast<size_t>(
            std::snprintf(szName + nLength, sizeof szName - nLength, bPlain ? "%c" : "%%%02X", *szFile));
    }
    std::snprintf(szName + nLength, sizeof szName - nLength, "?immutable=1");
    return sqlite3_open_v2(szName, &pStore->pDb, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX,
                           nullptr);
}

// SQLite's own time-out sleeps longer and longer, and so loses every race against a busy writer.
int WaitForLock(void* pBusyMs, int nCalls) {
    constexpr int STEP_MS = 4;
    if (nCalls >= *static_cast<const int*>(pBusyMs) / STEP_MS) return 0;
    usleep(STEP_MS * 1000);
    return 1;
}

int CreateStoreFile(tagStore* pStore, int nBusyMs) {
    if (access(pStore->szPath, F_OK) == 0) return STORE_OK;
    char szDirectory[sizeof pStore->szPath];
    CopyText(szDirectory, pStore->szPath);
    char* pSlash = std::strrchr(szDirectory, '/');
    const bool bOwn = pSlash && pSlash != szDirectory;
    if (bOwn) *pSlash = '\0';
    if (bOwn && mkdir(szDirectory, 0700) != 0 && errno != EEXIST) return SystemRefusal(pStore, errno);

    const int fd = open(bOwn ? szDirectory : pSlash ? "/" : ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd == -1) return SystemRefusal(pStore, errno);
    int nResult = STORE_OK;
    // One process at a time: a second one finds the store of the first.
    if (flock(fd, LOCK_EX) != 0) nResult = SystemRefusal(pStore, errno);
    if (nResult == STORE_OK && access(pStore->szPath, F_OK) != 0) nResult = PutNewFile(pStore, nBusyMs);
    close(fd);
    return nResult;
}

// Made beside its place, the file gets its name when it is whole: a disk that is full half-way leaves nothing
// behind.
int PutNewFile(tagStore* pStore, int nBusyMs) {
    char szFile[sizeof pStore->szPath + sizeof ".XXXXXX"];
    std::snprintf(szFile, sizeof szFile, "%s.XXXXXX", pStore->szPath);
    const int fd = mkostemp(szFile, O_CLOEXEC);  // 0600; the journal files take their mode from it
    if (fd == -1) return SystemRefusal(pStore, errno);
    close(fd);
    int nResult = FillNewFile(pStore, szFile, nBusyMs);
    if (nResult == STORE_OK) {
        RemoveDatabase(pStore->szPath);  // the journals of one that was deleted would be read into this one
        if (rename(szFile, pStore->szPath) != 0) nResult = SystemRefusal(pStore, errno);
    }
    if (nResult != STORE_OK) RemoveDatabase(szFile);
    return nResult;
}

// All of it stands in the file itself then, none in a journal beside it.
int FillNewFile(tagStore* pStore, const char* szFile, int nBusyMs) {
    int nResult = ConnectStore(pStore, szFile, STORE_CREATE, nBusyMs);
    if (nResult == STORE_OK) nResult = RunSql(pStore, "PRAGMA wal_checkpoint(TRUNCATE)");
    CloseStore(pStore);
    return nResult;
}

void RemoveDatabase(const char* szFile) {
    for (const char* szEnd : {"", "-journal", "-wal", "-shm"}) {
        char szPart[sizeof tagStore::szPath + sizeof ".XXXXXX-journal"];
        std::snprintf(szPart, sizeof szPart, "%s%s", szFile, szEnd);
        unlink(szPart);
    }
}

int SystemRefusal(tagStore* pStore, int nErrno) {
    int nCode = STORE_FAILED;
    if (nErrno == EACCES || nErrno == EPERM || nErrno == EROFS) nCode = STORE_DENIED;
    if (nErrno == ENOSPC || nErrno == EDQUOT) nCode = STORE_FULL;
    return StoreRefusal(pStore, nCode, std::strerror(nErrno));
}

int CheckVersion(tagStore* pStore, int nMode) {
    int64_t nVersion = 0;
    if (const int nResult = ReadNumber(pStore, "PRAGMA user_version", &nVersion)) return nResult;
    if (nVersion == STORE_SCHEMA_VERSION) return STORE_OK;
    if (nVersion > STORE_SCHEMA_VERSION) {
        char szDetail[64];
        std::snprintf(szDetail, sizeof szDetail, "version %lld, known up to %d",
                      static_cast<long long>(nVersion), STORE_SCHEMA_VERSION);
        return StoreRefusal(pStore, STORE_NEWER, szDetail);
    }
    if (nVersion > 0 && nMode == STORE_READ_STILL) return StoreRefusal(pStore, STORE_DENIED, "older version");
    if (nVersion > 0) return UpgradeSchema(pStore);
    if (nMode != STORE_CREATE) return StoreRefusal(pStore, STORE_MISSING, nullptr);
    return CreateSchema(pStore);
}
}  // namespace
