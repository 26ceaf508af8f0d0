#include "ctl/imported_lists.h"

#include <cerrno>
#include <cstring>
#include <iterator>

#include "category/category_table.h"
#include "ctl/import/list_kind.h"
#include "modules/urlmap/url_map.h"

namespace {

struct tagListFile {
    const char* szName;
    const char* szFile;
    uint32_t nKind;
};
constexpr tagListFile LIST_FILES[] = {
    {"phishing", PHISHING_LIST, URLMAP_THREATS},
    {"harmful", HARMFUL_LIST, URLMAP_THREATS},
    {"categories", CATEGORY_LIST, URLMAP_CATEGORIES},
};

class OpenedList {
  public:
    explicit OpenedList(const tagListFile& file) : nResult(OpenListFile(&map, file.szFile, file.nKind)) {}
    ~OpenedList() { CloseURLMap(&map); }
    OpenedList(const OpenedList&) = delete;
    OpenedList& operator=(const OpenedList&) = delete;

    tagURLMap map;
    const int nResult;
};

const tagListFile& FileOf(ImportedList list);
std::string ProblemText(int nResult, int nError);

}  // namespace

std::vector<tagImportedList> ReadImportedLists() {
    std::vector<tagImportedList> lists;
    for (const tagListFile& file : LIST_FILES) {
        char szPath[LIST_PATH_BYTES];
        ListFilePath(szPath, file.szFile);
        errno = 0;
        const OpenedList list(file);
        lists.push_back({file.szName, szPath, ProblemText(list.nResult, errno),
                         list.nResult != URLMAP_MISSING, list.map.nNames});
    }
    return lists;
}

std::optional<std::string> FindListedThreat(ImportedList list, const std::string& url) {
    const OpenedList opened(FileOf(list));
    tagURLKeys keys;
    MakeURLKeys(url, &keys);
    const int32_t nText = FindURLKeys(opened.map, keys);
    if (nText < 0) return {};
    return std::string(URLMapText(opened.map, static_cast<uint32_t>(nText)));
}

std::vector<uint32_t> CountListedNames() {
    const OpenedList list(FileOf(ImportedList::Categories));
    if (list.nResult != URLMAP_OK) return {};
    std::vector<uint32_t> withText(list.map.nTexts);
    for (uint32_t n = 0; n < list.map.nNames; ++n)
        ++withText[list.map.pValues[n]];
    std::vector<uint32_t> counts(CATEGORY_COUNT);
    for (uint32_t nText = 0; nText < list.map.nTexts; ++nText) {
        uint16_t categories[URLMAP_CATEGORIES_MAX];
        const uint32_t nCategories = URLMapCategories(list.map, nText, categories);
        for (uint32_t n = 0; n < nCategories; ++n) {
            if (categories[n] < CATEGORY_COUNT) counts[categories[n]] += withText[nText];
        }
    }
    return counts;
}

namespace {

const tagListFile& FileOf(ImportedList list) {
    return LIST_FILES[static_cast<size_t>(list)];
}

std::string ProblemText(int nResult, int nError) {
    if (nResult == URLMAP_OK || nResult == URLMAP_MISSING) return {};
    return std::string("is ") + MapStateText(nResult) +
           (nResult == URLMAP_SYSTEM ? std::string(": ") + std::strerror(nError) : "");
}

}  // namespace
