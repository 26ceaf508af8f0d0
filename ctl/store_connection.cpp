#include "ctl/store_connection.h"

#include <unistd.h>

#include <string>

#include "ctl/output.h"

namespace {
bool g_bStoreMade = false;

bool ReadsStill(tagStore& store, int nCode);
}  // namespace

bool WasStoreMade() {
    return g_bStoreMade;
}

StoreConnection::StoreConnection(int nMode) {
    const bool bNew = nMode == STORE_CREATE && access(StorePath(), F_OK) != 0;
    int nCode = OpenStore(&m_store, nMode, STORE_BUSY_MS_SETTINGS);
    if (nMode == STORE_OPEN_EXISTING && ReadsStill(m_store, nCode)) nCode = STORE_OK;
    if (nCode == STORE_MISSING) {
        throw CtlError(
            "there is no settings store at " + std::string(StorePath()) +
            " yet; the first change of a setting makes it, such as: sudo websecctl protection report on");
    }
    Succeeded(nCode);
    if (bNew) {
        g_bStoreMade = true;
        PrintWarning("there was no settings store; a new one is made at " + std::string(StorePath()) +
                     ", with the protections' defaults and empty lists");
    }
}

StoreConnection::~StoreConnection() {
    CloseStore(&m_store);
}

bool StoreConnection::Succeeded(int nCode, int nExpected) {
    if (nCode == STORE_OK) return true;
    if (nCode == nExpected) return false;
    const char* const szRemedy =
        nCode == STORE_CORRUPT
            ? "; move it away, and give its settings back: sudo websecctl import-settings with "
              "what export wrote, or change a setting, which makes a new one"
            : "";
    throw CtlError("settings store: " + Printable(m_store.szError) + szRemedy);
}

namespace {

// On a disk that refuses the files that SQLite wants beside a database, that is read alone, as the daemon
// does it. When that fails, too, the first answer says why.
bool ReadsStill(tagStore& store, int nCode) {
    const bool bRefused = nCode == STORE_FULL || nCode == STORE_DENIED || nCode == STORE_FAILED;
    if (!bRefused) return false;
    const tagStore first = store;  // closed
    if (OpenStore(&store, STORE_READ_STILL, STORE_BUSY_MS_SETTINGS) == STORE_OK) return true;
    store = first;
    return false;
}

}  // namespace
