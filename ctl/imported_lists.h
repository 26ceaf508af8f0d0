// The lists that were imported for the URL scanner, the category engine and the category server, as they find
// them: opened from the same files with the same reader.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

enum class ImportedList { Phishing, Harmful, Categories };

struct tagImportedList {
    const char* szName;   // "phishing", "harmful", "categories"
    std::string path;     // of its file
    std::string problem;  // in words; empty for a sound list and for one that is not there
    bool bThere;          // a file stands there
    uint32_t nNames;      // that can be found in it; 0 with a problem
};

// All three, in the order of the enumeration.
std::vector<tagImportedList> ReadImportedLists();

// The threat's name under which a list (Phishing or Harmful) holds the URL, or nothing.
std::optional<std::string> FindListedThreat(ImportedList list, const std::string& url);

// How many names the list of categories holds for each category, by real id; empty without such a list.
std::vector<uint32_t> CountListedNames();
