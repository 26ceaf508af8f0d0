// All settings of the store as one JSON document: a backup, or what another host takes over.
//
//   {"version": 1,
//    "protections": {"browsing": true, ...},                               all five
//    "lists": {"block": [{"entry": "a.example", "subdomains": true}],      all three, in the order of adding;
//              "allow": [], "trust": [{"entry": "b.example/p"}]},          without "subdomains": false
//    "blocked_categories": ["Gambling"]}                                   names of CATEGORY_TABLE
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "ctl/output.h"
#include "ctl/settings_store.h"

constexpr uint32_t SETTINGS_VERSION = 1;

struct tagSettings {
    std::array<bool, SWITCH_COUNT> switches;
    std::array<std::vector<tagEntry>, STORE_LIST_COUNT> lists;
    std::vector<uint8_t> blockedCategories;  // real ids
};

Json SettingsDocument(const tagSettings& settings);

// Reads such a document. Adds a line for each fault, with its place ("lists.block[3].entry: ..."); with one
// the settings are of no use.
tagSettings ParseSettings(const std::string& text, std::vector<std::string>& faults);
