#include "ctl/import/list_kind.h"

#include <algorithm>
#include <charconv>

#include "ctl/output.h"

namespace {

std::string PathInLists(const char* szName);

}  // namespace

const tagListKind* FindListKind(std::string_view name) {
    for (const tagListKind& kind : LIST_KINDS) {
        if (name == kind.szName) return &kind;
    }
    return nullptr;
}

std::string ListsFolder() {
    const std::string path = PathInLists("");
    return path.substr(0, path.size() - 1);
}

std::string SourcesFolder() {
    return PathInLists("sources");
}

std::string InForcePath(const tagListKind& kind) {
    return PathInLists(kind.szFile);
}

std::string SourceFileName(const tagListKind& kind, int64_t nFile) {
    return std::string(kind.szName) + "-" + std::to_string(nFile) + ".map";
}

std::string SourcePath(const tagListKind& kind, int64_t nFile) {
    return SourcesFolder() + "/" + SourceFileName(kind, nFile);
}

std::optional<int64_t> SourceNumber(std::string_view fileName) {
    const size_t nDash = std::min(fileName.find('-'), fileName.size());
    if (!FindListKind(fileName.substr(0, nDash))) return std::nullopt;
    const std::string_view number = fileName.substr(nDash);
    int64_t nFile = 0;
    const char* const pEnd = number.data() + number.size();
    const auto [pRest, error] = std::from_chars(number.data() + !number.empty(), pEnd, nFile);
    if (error != std::errc() || std::string_view(pRest, pEnd) != ".map" || nFile <= 0) return std::nullopt;
    return nFile;
}

const char* MapStateText(int nResult) {
    switch (nResult) {
        case URLMAP_OK:
            return "ok";
        case URLMAP_MISSING:
            return "missing";
        case URLMAP_DAMAGED:
            return "damaged";
        case URLMAP_OTHER:
            return "of another version or kind";
        default:
            return "not readable";
    }
}

namespace {

std::string PathInLists(const char* szName) {
    char szPath[LIST_PATH_BYTES];
    ListFilePath(szPath, szName);
    if (szPath[0] == '\0') throw CtlError("the folder that WEBSEC_LISTS names has too long a path");
    return szPath;
}

}  // namespace
