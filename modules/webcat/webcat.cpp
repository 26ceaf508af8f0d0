// libwebcat.so: the categories of a URL, by the lists that were imported. A list that is missing or damaged
// is an empty one. The ids are those of the library modes: WEBCAT_HARMFUL and WEBCAT_PHISHING for what stands
// in those lists, and the library ids of category/category_table.h.
//
// Nothing is printed, and look-ups neither lock nor allocate.
#include <cstdlib>
#include <cstring>

#include "category/category_table.h"
#include "category/webcat_library.h"
#include "modules/urlmap/list_files.h"
#include "modules/urlmap/url_map.h"

// Whoever loads this library without being the daemon need not have a table to fill.
extern "C" __attribute__((weak)) tagWebCatMapping g_WebCatMapping;

namespace {

constexpr uint16_t WEBCAT_HARMFUL = 2;
constexpr uint16_t WEBCAT_PHISHING = 3;
constexpr uint16_t MAPPING_ENTRIES = 2 + CATEGORY_COUNT;

bool g_bInitialised;
uint8_t* g_pMapping;
tagURLMap g_Phishing;
tagURLMap g_Harmful;
tagURLMap g_Categories;

// The answer to one look-up.
struct tagAnswer {
    unsigned short* pCategories;  // URLMAP_CATEGORIES_MAX of them
    unsigned short nCount;
};

bool FillMapping();
void OpenLists();
void CloseLists();
void Add(tagAnswer* pAnswer, uint16_t nCategory);
void AddListed(tagAnswer* pAnswer, const tagURLKeys& keys);

}  // namespace

int WCInit() {
    WCDeinit();
    if (!FillMapping()) return -1;
    OpenLists();
    g_bInitialised = true;
    return 0;
}

int WCDeinit() {
    if (&g_WebCatMapping) g_WebCatMapping = {};
    free(g_pMapping);
    g_pMapping = nullptr;
    CloseLists();
    g_bInitialised = false;
    return 0;
}

// What is cached are the lists: they are opened afresh.
int PerformCacheRefresh() {
    if (!g_bInitialised) return 0;
    CloseLists();
    OpenLists();
    return 0;
}

// A URL that stands in no list has the category Unknown, unless there is no list of categories at all.
int WCGetURLCategories(const char* szHost, const char* szURL, unsigned short* pCategories,
                       unsigned short* pCount) {
    if (!g_bInitialised || !pCategories || !pCount) return -1;
    if (g_Phishing.nNames == 0 && g_Harmful.nNames == 0 && g_Categories.nNames == 0) {
        *pCount = 0;
        return 0;
    }
    tagURLKeys keys = {};
    if (szURL) MakeURLKeys(szURL, &keys);
    if (szHost && keys.nCount == 0) MakeURLKeys(szHost, &keys);
    if (keys.nCount == 0) return -1;
    tagAnswer answer = {pCategories, 0};
    if (FindURLKeys(g_Phishing, keys) >= 0) Add(&answer, WEBCAT_PHISHING);
    if (FindURLKeys(g_Harmful, keys) >= 0) Add(&answer, WEBCAT_HARMFUL);
    AddListed(&answer, keys);
    if (answer.nCount == 0 && g_Categories.nNames != 0) Add(&answer, RealToLibraryId(CATEGORY_UNKNOWN));
    *pCount = answer.nCount;
    return 0;
}

int WCGetKVURLCategories(const char* szHost, const char* szURL, unsigned short* pCategories,
                         unsigned short* pCount) {
    return WCGetURLCategories(szHost, szURL, pCategories, pCount);
}

int ConvertFromRealToLogical(unsigned short nReal, unsigned short* pLogical) {
    if (!pLogical) return -1;
    *pLogical = RealToLogical(nReal);
    return 0;
}

namespace {

// Lists every id that a look-up can give, each in an entry that is zero otherwise.
bool FillMapping() {
    g_pMapping = static_cast<uint8_t*>(calloc(MAPPING_ENTRIES, WEBCAT_ENTRY_BYTES));
    if (!g_pMapping) return false;
    uint8_t* pEntry = g_pMapping;
    const auto put = [&pEntry](uint16_t nCategory) {
        memcpy(pEntry, &nCategory, sizeof nCategory);
        pEntry += WEBCAT_ENTRY_BYTES;
    };
    put(WEBCAT_HARMFUL);
    put(WEBCAT_PHISHING);
    for (const tagCategory& category : CATEGORY_TABLE)
        put(RealToLibraryId(category.nId));
    if (&g_WebCatMapping) g_WebCatMapping = {MAPPING_ENTRIES, g_pMapping};
    return true;
}

void OpenLists() {
    (void)OpenListFile(&g_Phishing, PHISHING_LIST, URLMAP_THREATS);
    (void)OpenListFile(&g_Harmful, HARMFUL_LIST, URLMAP_THREATS);
    (void)OpenListFile(&g_Categories, CATEGORY_LIST, URLMAP_CATEGORIES);
}

void CloseLists() {
    CloseURLMap(&g_Phishing);
    CloseURLMap(&g_Harmful);
    CloseURLMap(&g_Categories);
}

void Add(tagAnswer* pAnswer, uint16_t nCategory) {
    if (pAnswer->nCount < URLMAP_CATEGORIES_MAX) pAnswer->pCategories[pAnswer->nCount++] = nCategory;
}

void AddListed(tagAnswer* pAnswer, const tagURLKeys& keys) {
    uint16_t listed[URLMAP_CATEGORIES_MAX];
    const uint32_t nListed = FindURLCategories(g_Categories, keys, listed);
    for (uint32_t n = 0; n < nListed; ++n) {
        if (listed[n] < CATEGORY_COUNT) Add(pAnswer, RealToLibraryId(static_cast<uint8_t>(listed[n])));
    }
}

}  // namespace
