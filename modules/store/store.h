// The embedded SQLite database in which everything stands that outlives a process: settings, lists, blocked
// categories and reports. Shared by the modules that the daemon loads and by the command-line tool.
//
// One tagStore is one connection: it belongs to one thread at a time. Several processes and threads may each
// have their own; SQLite orders their writes. Nothing here throws or prints. Every operation answers a
// STORE_* code; all but STORE_OK, STORE_EXISTS and STORE_NOT_FOUND leave a text in szError that names the
// file and the cause.
//
// Callers keep cancellation off: a thread that is cancelled in the middle of an operation would leave the
// connection locked.
#pragma once

#include <cstddef>
#include <cstdint>

struct sqlite3;

// What an operation answers.
enum : int {
    STORE_OK = 0,
    STORE_MISSING = 1,     // there is no such file
    STORE_LOCKED = 2,      // another process kept it locked for longer than the time-out
    STORE_CORRUPT = 3,     // not a database, or a damaged one
    STORE_NEWER = 4,       // made by a newer version of this product
    STORE_DENIED = 5,      // no permission, or read-only
    STORE_FULL = 6,        // no space left on the disk
    STORE_NO_MEMORY = 7,   //
    STORE_FAILED = 8,      // any other error of the system or of SQLite
    STORE_BAD_VALUE = 9,   // the value cannot be kept: empty, too long, holds a control character
    STORE_EXISTS = 10,     // it stood there already; nothing was changed
    STORE_NOT_FOUND = 11,  // it did not stand there; nothing was changed
};

// How OpenStore treats a file that is not there.
enum : int {
    STORE_OPEN_EXISTING = 0,  // missing or empty: STORE_MISSING
    STORE_CREATE = 1,         // make the directory (0700), the file (0600) and the schema with its defaults
    STORE_READ_STILL = 2,     // likewise missing; only to be read, on a disk to which nobody can write
};

constexpr int STORE_SCHEMA_VERSION = 2;
constexpr char STORE_FILE[] = "/var/lib/websec/websec.db";
constexpr int STORE_BUSY_MS_SETTINGS = 2000;  // a reload of settings waits no longer for a lock

// An open one stays where it is: SQLite knows its address.
struct tagStore {
    sqlite3* pDb;        // null: closed
    int nBusyMs;         // as given to OpenStore
    int bInChange;       // 1 between BeginStoreChange and EndStoreChange
    char szPath[512];    // the file, set by OpenStore
    char szError[1024];  // cause of the last failure, for people; empty before the first
};

// The store's file: the environment variable WEBSEC_DB (ignored in set-user-id programs), else STORE_FILE.
const char* StorePath();

// Opens the store at StorePath(). pStore is overwritten; on failure it is closed and holds the error text.
// nMode is one of the three above; nBusyMs bounds the wait for a lock in this and in every later
// operation. A database of an older version is brought to the present schema in the first two, an empty one
// when nMode is STORE_CREATE. STORE_READ_STILL makes no file, where the others need one beside the database;
// it answers STORE_DENIED while a journal holds changes that have not come into the database.
int OpenStore(tagStore* pStore, int nMode, int nBusyMs);

// Closes it; an open change is taken back. Safe on a zeroed or closed record. szError stays.
void CloseStore(tagStore* pStore);

// Several operations as one: all of them are kept or none. Not nested. Between the two, reads see one state.
int BeginStoreChange(tagStore* pStore);
// bKeep 1 keeps what was done (on failure nothing is kept), 0 takes it back.
int EndStoreChange(tagStore* pStore, int bKeep);
