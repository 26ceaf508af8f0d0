#include "ctl/import/merge_sources.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "ctl/import/interruption.h"
#include "ctl/output.h"
#include "modules/urlmap/url_map_builder.h"

namespace {

// Gives a builder back however it is left.
struct Builder {
    ~Builder() { FreeURLMapBuilder(&map); }
    tagURLMapBuilder map = {};
};

int AddSource(tagURLMapBuilder* pBuilder, const tagSource& source);
int AddNames(tagURLMapBuilder* pBuilder, const tagURLMap& map);

}  // namespace

tagMergedList MergeSources(const tagListKind& kind, const std::vector<tagSource>& sources,
                           const std::string& path) {
    Builder builder;
    const auto require = [&path](int nResult) {
        if (nResult != URLMAP_OK)
            throw CtlError("cannot make " + Printable(path) + ": " + MapFailureText(nResult));
    };
    require(StartURLMap(&builder.map, kind.nMapKind));
    bool bAny = false;
    for (const tagSource& source : sources) {
        if (source.pKind != &kind) continue;
        bAny = true;
        require(AddSource(&builder.map, source));
    }
    if (bAny) {
        require(WriteURLMap(&builder.map, path.c_str()));
    } else if (unlink(path.c_str()) != 0 && errno != ENOENT) {
        require(URLMAP_SYSTEM);
    }
    return {builder.map.nNames, builder.map.nCategoriesLost};
}

std::string MapFailureText(int nResult) {
    switch (nResult) {
        case URLMAP_NO_MEMORY:
            return "out of memory";
        case URLMAP_TOO_MANY:
            return "more names, or more different threats or sets of categories, than a list can hold";
        default:
            return std::strerror(errno);
    }
}

namespace {

int AddSource(tagURLMapBuilder* pBuilder, const tagSource& source) {
    tagURLMap map;
    const std::string path = SourcePath(*source.pKind, source.nFile);
    const int nOpened = OpenURLMap(&map, path.c_str(), source.pKind->nMapKind);
    // Such a source may be sound: no list without it may come into force.
    if (nOpened == URLMAP_SYSTEM || nOpened == URLMAP_NO_MEMORY) {
        throw CtlError("cannot read the imported " + std::string(source.pKind->szName) + " list " +
                       Quoted(source.name) + " (" + Printable(path) + "): " + MapFailureText(nOpened));
    }
    if (nOpened != URLMAP_OK) {
        PrintWarning("the imported " + std::string(source.pKind->szName) + " list " + Quoted(source.name) +
                     " is " + MapStateText(nOpened) +
                     ": its names are not in force until it is imported again");
        return URLMAP_OK;
    }
    const int nResult = AddNames(pBuilder, map);
    CloseURLMap(&map);
    return nResult;
}

int AddNames(tagURLMapBuilder* pBuilder, const tagURLMap& map) {
    for (uint32_t n = 0; n < map.nNames; ++n) {
        const uint64_t nKey = map.pKeys[n];
        if (map.nKind == URLMAP_THREATS) {
            if (const int nFailed = AddThreat(pBuilder, nKey, URLMapText(map, map.pValues[n])))
                return nFailed;
            continue;
        }
        std::array<uint16_t, URLMAP_CATEGORIES_MAX> categories;
        const uint32_t nCategories = URLMapCategories(map, map.pValues[n], categories);
        for (uint32_t i = 0; i < nCategories; ++i) {
            if (const int nFailed = AddCategory(pBuilder, nKey, categories[i])) return nFailed;
        }
    }
    return URLMAP_OK;
}

}  // namespace
