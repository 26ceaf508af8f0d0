// A connection to the store that closes itself, and answers in place of codes. Every failure is a CtlError
// that names the file and the cause.
#pragma once

#include "modules/store/store.h"

class StoreConnection {
  public:
    // STORE_OPEN_EXISTING to read, STORE_CREATE to change.
    explicit StoreConnection(int nMode);
    ~StoreConnection();
    StoreConnection(const StoreConnection&) = delete;
    StoreConnection& operator=(const StoreConnection&) = delete;

  protected:
    // False for nExpected, true for STORE_OK; throws for every other code.
    bool Succeeded(int nCode, int nExpected = STORE_OK);

    tagStore m_store;
};

// Whether this program has made the store: a daemon that runs has not read it yet.
bool WasStoreMade();
