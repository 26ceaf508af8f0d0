// The three lists in force, and the files of what was imported into them: every import is kept as a map of
// its own in the folder "sources", and the lists in force are made of these.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "modules/urlmap/list_files.h"

struct tagListKind {
    const char* szName;  // "phishing", "harmful", "category"
    const char* szFile;  // the list in force
    uint32_t nMapKind;   // URLMAP_THREATS or URLMAP_CATEGORIES
};
// Kinds are compared by their address.
inline constexpr tagListKind LIST_KINDS[] = {{"phishing", PHISHING_LIST, URLMAP_THREATS},
                                             {"harmful", HARMFUL_LIST, URLMAP_THREATS},
                                             {"category", CATEGORY_LIST, URLMAP_CATEGORIES}};

// Null for a text that is none.
const tagListKind* FindListKind(std::string_view name);

// The folder of the lists in force, and the one of the sources below it. Throws CtlError when the path is too
// long.
std::string ListsFolder();
std::string SourcesFolder();

std::string InForcePath(const tagListKind& kind);
// What stands behind the name of a list in force while its successor is made.
inline const std::string PENDING_ENDING = ".new";

// "phishing-7.map" in the folder of the sources.
std::string SourceFileName(const tagListKind& kind, int64_t nFile);
std::string SourcePath(const tagListKind& kind, int64_t nFile);
// The number in such a name of any kind, or nothing.
std::optional<int64_t> SourceNumber(std::string_view fileName);

// How a map is: "ok", "missing", "damaged", ...; URLMAP_* as OpenURLMap gives it.
const char* MapStateText(int nResult);
