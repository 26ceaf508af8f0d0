// websecctl import phishing, harmful, category: into the mapped lists.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ctl/import/line_reader.h"
#include "ctl/import/list_kind.h"

struct tagListImport {
    std::vector<std::string> files;
    std::optional<ListFormat> format;  // none: each file's own is guessed
    std::string name;                  // the list's; empty: after the first file
    std::string category;              // for the kind of categories: a name, or CATEGORY_AUTO
};

// Each category folder's name says which.
constexpr char CATEGORY_AUTO[] = "auto";

// Reads the files, puts them into the list in place of an earlier import of that name, tells the running
// programs and prints what was done. Throws CtlError: nothing has changed then.
void ImportIntoList(const tagListKind& kind, const tagListImport& import);
