#include "ctl/store_connection.h"

#include <unistd.h>

#include <string>

#include "ctl/output.h"

namespace {
bool g_bStoreMade = false;
}  // namespace

bool WasStoreMade() {
    return g_bStoreMade;
}

StoreConnection::StoreConnection(int nMode) {
    const bool bNew = nMode == STORE_CREATE && access(StorePath(), F_OK) != 0;
    const int nCode = OpenStore(&m_store, nMode, STORE_BUSY_MS_SETTINGS);
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
