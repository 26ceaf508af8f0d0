// The settings store as websecctl uses it: a connection that closes itself, and answers in place of codes.
// Every failure is a CtlError that names the file and the cause.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "modules/store/store_settings.h"

struct tagEntry {
    std::string text;
    bool bSubdomains;
};

class SettingsStore {
  public:
    // STORE_OPEN_EXISTING to read, STORE_CREATE to change.
    explicit SettingsStore(int nMode);
    ~SettingsStore();
    SettingsStore(const SettingsStore&) = delete;
    SettingsStore& operator=(const SettingsStore&) = delete;

    bool IsOn(int nSwitch);
    void SetSwitch(int nSwitch, bool bOn);

    std::vector<tagEntry> Entries(int nList);
    // False when it stood there already.
    bool Add(int nList, const tagEntry& entry);
    // False when it did not stand there.
    bool Remove(int nList, const std::string& text);

    // What is added or removed after Begin holds only once Keep was called.
    void Begin();
    void Keep();

    // How many categories are blocked.
    size_t CountBlockedCategories();

  private:
    // False for nExpected, true for STORE_OK; throws for every other code.
    bool Succeeded(int nCode, int nExpected = STORE_OK);

    tagStore m_store;
};
