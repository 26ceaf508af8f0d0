// websecctl import block, allow, trust: short lists into the policy lists.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ctl/import/line_reader.h"

struct tagEntryImport {
    int nList;  // STORE_LIST_*
    std::vector<std::string> files;
    std::optional<ListFormat> format;
    bool bSubdomains;  // all names with theirs; else the host alone, whatever a line says
};

// The names of the policy lists are resolved one by one, so no import may make one longer than this.
constexpr size_t POLICY_IMPORT_MAX = 500;

// Adds the names as "block add" does, all of them or none, has the daemon reload and prints what was done.
void ImportEntries(const tagEntryImport& import);
