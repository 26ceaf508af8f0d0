// The settings in the store as websecctl uses them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ctl/store_connection.h"
#include "modules/store/store_settings.h"
#include "policy/policy_switches.h"

// The daemon's table has to take the two categories of the site protections, too.
constexpr size_t BLOCKED_CATEGORIES_MAX = MAX_BLOCKED_CATEGORIES - 2;

struct tagEntry {
    std::string text;
    bool bSubdomains;
};

class SettingsStore : StoreConnection {
  public:
    using StoreConnection::StoreConnection;

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

    // The real ids of the blocked categories, ascending.
    std::vector<uint8_t> BlockedCategories();
    // False when it was so already.
    bool SetCategory(uint8_t nCategory, bool bBlocked);
};
