#include "modules/store/store_settings.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <iterator>
#include <span>
#include <string>
#include <string_view>

#include "category/category_mode.h"
#include "category/category_table.h"
#include "common/copy_text.h"
#include "modules/store/store_sql.h"
#include "modules/store/store_text.h"

namespace {
constexpr const char* SWITCH_NAMES[] = {"browsing", "phishing", "category", "blocklist", "report"};
static_assert(std::size(SWITCH_NAMES) == SWITCH_COUNT);
constexpr const char* LIST_NAMES[] = {"block", "allow", "trust"};
static_assert(std::size(LIST_NAMES) == STORE_LIST_COUNT);

int FindName(std::span<const char* const> names, std::string_view name);
int CheckText(tagStore* pStore, const char* szText);
int ResultOfChange(tagStore* pStore, sqlite3_stmt* pStatement, int nUnchanged);
int FillSwitches(tagStore* pStore, tagClientSettingData* pSettings);
int WalkLists(tagStore* pStore, TakeListSettingFn pfnTake, void* pContext);
template <class T>
T* AppendText(tagSequence<T>& sequence, const char16_t* wszText);

// The blocked categories being filled by a walk.
struct tagCategoryFill {
    tagSequence<tagCategorySetting>* pSequence;
    uint8_t nMode;
    bool bFull;  // the walk ended early: no memory
};
int FillCategories(tagStore* pStore, uint8_t nMode, tagSequence<tagCategorySetting>* pSequence);
int AppendCategory(const tagStoredCategory* pCategory, void* pContext);
}  // namespace

const char* SwitchName(int nSwitch) {
    return nSwitch >= 0 && nSwitch < SWITCH_COUNT ? SWITCH_NAMES[nSwitch] : nullptr;
}

int FindSwitch(const char* szName) {
    return FindName(SWITCH_NAMES, szName);
}

const char* StoreListName(int nList) {
    return nList >= 0 && nList < STORE_LIST_COUNT ? LIST_NAMES[nList] : nullptr;
}

int ReadSwitch(tagStore* pStore, int nSwitch, uint32_t* pOn) {
    if (!SwitchName(nSwitch)) return StoreRefusal(pStore, STORE_BAD_VALUE, "no such switch");
    sqlite3_stmt* pStatement = PrepareSql(pStore, "SELECT value FROM switches WHERE name = ?");
    BindText(pStatement, 1, SWITCH_NAMES[nSwitch]);
    const int bFound = StepRow(pStatement);
    if (bFound) *pOn = static_cast<uint32_t>(sqlite3_column_int64(pStatement, 0));
    const int nResult = FinishSql(pStore, pStatement);
    if (nResult == STORE_OK && !bFound) return StoreRefusal(pStore, STORE_CORRUPT, "a switch is missing");
    return nResult;
}

int WriteSwitch(tagStore* pStore, int nSwitch, uint32_t bOn) {
    if (!SwitchName(nSwitch)) return StoreRefusal(pStore, STORE_BAD_VALUE, "no such switch");
    sqlite3_stmt* pStatement = PrepareSql(pStore, "REPLACE INTO switches VALUES (?, ?)");
    BindText(pStatement, 1, SWITCH_NAMES[nSwitch]);
    BindNumber(pStatement, 2, bOn != 0);
    StepRow(pStatement);
    return FinishSql(pStore, pStatement);
}

int AddStoredEntry(tagStore* pStore, int nList, const char* szText, uint32_t bSubdomains) {
    if (!StoreListName(nList)) return StoreRefusal(pStore, STORE_BAD_VALUE, "no such list");
    if (const int nResult = CheckText(pStore, szText)) return nResult;
    sqlite3_stmt* pStatement = PrepareSql(
        pStore,
        "INSERT INTO entries (list, text, subdomains, added) VALUES (?, ?, ?, ?) ON CONFLICT (list, text) "
        "DO UPDATE SET subdomains = excluded.subdomains WHERE subdomains <> excluded.subdomains");
    BindText(pStatement, 1, LIST_NAMES[nList]);
    BindText(pStatement, 2, szText);
    BindNumber(pStatement, 3, bSubdomains != 0 && nList != STORE_LIST_TRUST);
    BindNumber(pStatement, 4, std::time(nullptr));
    return ResultOfChange(pStore, pStatement, STORE_EXISTS);
}

int RemoveStoredEntry(tagStore* pStore, int nList, const char* szText) {
    if (!StoreListName(nList)) return StoreRefusal(pStore, STORE_BAD_VALUE, "no such list");
    sqlite3_stmt* pStatement = PrepareSql(pStore, "DELETE FROM entries WHERE list = ? AND text = ?");
    BindText(pStatement, 1, LIST_NAMES[nList]);
    BindText(pStatement, 2, szText);
    return ResultOfChange(pStore, pStatement, STORE_NOT_FOUND);
}

int ForEachStoredEntry(tagStore* pStore, int nList, StoredEntryFn pfnEntry, void* pContext) {
    if (!StoreListName(nList)) return StoreRefusal(pStore, STORE_BAD_VALUE, "no such list");
    sqlite3_stmt* pStatement =
        PrepareSql(pStore, "SELECT id, text, subdomains, added FROM entries WHERE list = ? ORDER BY id");
    BindText(pStatement, 1, LIST_NAMES[nList]);
    while (StepRow(pStatement)) {
        const tagStoredEntry entry = {
            .nId = sqlite3_column_int64(pStatement, 0),
            .szText = ColumnText(pStatement, 1),
            .bSubdomains = static_cast<uint32_t>(sqlite3_column_int64(pStatement, 2)),
            .nAdded = sqlite3_column_int64(pStatement, 3),
        };
        if (pfnEntry(&entry, pContext) != 0) break;
    }
    return FinishSql(pStore, pStatement);
}

int SetStoredCategory(tagStore* pStore, uint32_t nCategory, uint32_t bBlocked) {
    if (nCategory >= CATEGORY_COUNT) return StoreRefusal(pStore, STORE_BAD_VALUE, "no such category");
    sqlite3_stmt* pStatement =
        PrepareSql(pStore,
                   "INSERT INTO categories (id, blocked) VALUES (?, ?) ON CONFLICT (id) "
                   "DO UPDATE SET blocked = excluded.blocked WHERE blocked <> excluded.blocked");
    BindNumber(pStatement, 1, nCategory);
    BindNumber(pStatement, 2, bBlocked != 0);
    return ResultOfChange(pStore, pStatement, STORE_EXISTS);
}

int ForEachStoredCategory(tagStore* pStore, StoredCategoryFn pfnCategory, void* pContext) {
    sqlite3_stmt* pStatement = PrepareSql(pStore, "SELECT id, blocked FROM categories ORDER BY id");
    while (StepRow(pStatement)) {
        const tagStoredCategory category = {
            .nCategory = static_cast<uint32_t>(sqlite3_column_int64(pStatement, 0)),
            .bBlocked = static_cast<uint32_t>(sqlite3_column_int64(pStatement, 1)),
        };
        if (pfnCategory(&category, pContext) != 0) break;
    }
    return FinishSql(pStore, pStatement);
}

int FillClientSettings(tagStore* pStore, uint8_t nMode, tagClientSettingData* pSettings,
                       TakeListSettingFn pfnTake, void* pContext) {
    // A transaction, so that a change made meanwhile is seen whole or not at all.
    if (const int nResult = RunSql(pStore, "BEGIN")) return nResult;
    int nResult = FillSwitches(pStore, pSettings);
    if (nResult == STORE_OK) nResult = WalkLists(pStore, pfnTake, pContext);
    if (nResult == STORE_OK) nResult = FillCategories(pStore, nMode, &pSettings->vecCategories);
    sqlite3_exec(pStore->pDb, "ROLLBACK", nullptr, nullptr, nullptr);
    return nResult;
}

bool TakeIntoSettings(uint8_t nList, const char16_t* wszText, uint32_t bSubdomains, void* pSettings) {
    auto& settings = *static_cast<tagClientSettingData*>(pSettings);
    if (nList == LIST_TRUSTED) return AppendText(settings.vecTrustedSites, wszText) != nullptr;
    auto& urls = nList == LIST_BLOCK ? settings.vecBlockList : settings.vecAllowList;
    tagURLSetting* pSetting = AppendText(urls, wszText);
    if (pSetting) pSetting->bSubdomains = bSubdomains;
    return pSetting != nullptr;
}

namespace {
// The number of that name, or -1.
int FindName(std::span<const char* const> names, std::string_view name) {
    const auto found = std::find(names.begin(), names.end(), name);
    return found == names.end() ? -1 : static_cast<int>(found - names.begin());
}

int CheckText(tagStore* pStore, const char* szText) {
    const size_t nLen = std::strlen(szText);
    if (nLen == 0) return StoreRefusal(pStore, STORE_BAD_VALUE, "an empty text");
    if (nLen > STORE_TEXT_MAX) return StoreRefusal(pStore, STORE_BAD_VALUE, "more than 1023 bytes");
    if (!IsPlainText({szText, nLen})) {
        return StoreRefusal(pStore, STORE_BAD_VALUE, "control characters, or no valid UTF-8");
    }
    return STORE_OK;
}

int ResultOfChange(tagStore* pStore, sqlite3_stmt* pStatement, int nUnchanged) {
    StepRow(pStatement);
    const int nResult = FinishSql(pStore, pStatement);
    if (nResult != STORE_OK) return nResult;
    return sqlite3_changes(pStore->pDb) == 0 ? nUnchanged : STORE_OK;
}

int FillSwitches(tagStore* pStore, tagClientSettingData* pSettings) {
    uint32_t* const pSwitches[] = {&pSettings->nBrowsingProtection, &pSettings->nPhishingProtection,
                                   &pSettings->nWebCategoryFilter, &pSettings->nCustomBlockList,
                                   &pSettings->nReportBlocked};
    static_assert(std::size(pSwitches) == SWITCH_COUNT);
    for (int n = 0; n < SWITCH_COUNT; ++n) {
        if (const int nResult = ReadSwitch(pStore, n, pSwitches[n])) return nResult;
    }
    return STORE_OK;
}

// One walk over all lists, in the order in which the entries stand in the file: to pick out each list by its
// index and to sort it again costs several times as much.
int WalkLists(tagStore* pStore, TakeListSettingFn pfnTake, void* pContext) {
    sqlite3_stmt* pStatement = PrepareSql(pStore, "SELECT list, text, subdomains FROM entries ORDER BY id");
    char16_t wszText[STORE_TEXT_MAX + 1];
    bool bTaken = true;
    while (bTaken && StepRow(pStatement)) {
        const int nList = FindName(LIST_NAMES, ColumnText(pStatement, 0));
        if (nList < 0) continue;
        WidenText(wszText, ColumnText(pStatement, 1));
        bTaken = pfnTake(static_cast<uint8_t>(nList), wszText,
                         static_cast<uint32_t>(sqlite3_column_int64(pStatement, 2)), pContext);
    }
    const int nResult = FinishSql(pStore, pStatement);
    return bTaken ? nResult : StoreRefusal(pStore, STORE_NO_MEMORY, nullptr);
}

template <class T>
T* AppendText(tagSequence<T>& sequence, const char16_t* wszText) {
    T* pSetting = AppendBareElement(sequence);
    if (!pSetting) return nullptr;
    pSetting->reserved = 0;
    const size_t nUnits = std::min(std::char_traits<char16_t>::length(wszText), STORE_TEXT_MAX);
    std::copy_n(wszText, nUnits, pSetting->wszText);
    pSetting->wszText[nUnits] = u'\0';
    return pSetting;
}

int FillCategories(tagStore* pStore, uint8_t nMode, tagSequence<tagCategorySetting>* pSequence) {
    tagCategoryFill fill = {pSequence, nMode, false};
    const int nResult = ForEachStoredCategory(pStore, AppendCategory, &fill);
    if (nResult != STORE_OK || !fill.bFull) return nResult;
    return StoreRefusal(pStore, STORE_NO_MEMORY, nullptr);
}

int AppendCategory(const tagStoredCategory* pCategory, void* pContext) {
    if (pCategory->nCategory >= CATEGORY_COUNT) return 0;
    auto* pFill = static_cast<tagCategoryFill*>(pContext);
    tagCategorySetting* pSetting = AppendElement(*pFill->pSequence);
    pFill->bFull = !pSetting;
    if (!pSetting) return 1;
    const auto nReal = static_cast<uint8_t>(pCategory->nCategory);
    pSetting->nCategory = IsLibraryMode(pFill->nMode) ? RealToLibraryId(nReal) : nReal;
    pSetting->bBlocked = pCategory->bBlocked;
    return 0;
}
}  // namespace
