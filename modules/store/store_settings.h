// The settings in the store: five switches, three lists and the blocked categories. For the threads and the
// result codes see modules/store/store.h.
//
// Texts are UTF-8, NUL-terminated. The settings record carries them as wide texts, each byte widened as a
// signed value, which is how the daemon narrows them again.
#pragma once

#include <cstddef>
#include <cstdint>

#include "modules/store/store.h"
#include "policy/client_settings.h"

// Switches, in the order of the settings record. A new store has browsing, phishing, blocklist and report on
// and category off.
enum : int {
    SWITCH_BROWSING = 0,   // "browsing": harmful-site protection
    SWITCH_PHISHING = 1,   // "phishing": phishing protection
    SWITCH_CATEGORY = 2,   // "category": blocking by web category
    SWITCH_BLOCKLIST = 3,  // "blocklist": the user's block list applies
    SWITCH_REPORT = 4,     // "report": blocked requests are reported
    SWITCH_COUNT = 5,
};

// Lists
enum : int {
    STORE_LIST_BLOCK = LIST_BLOCK,
    STORE_LIST_ALLOW = LIST_ALLOW,
    STORE_LIST_TRUST = LIST_TRUSTED,
    STORE_LIST_COUNT = 3,
};

constexpr size_t STORE_TEXT_MAX = 1023;  // bytes of an entry's text, without NUL

// Name of a switch ("browsing" ...); null for a number that is none.
const char* SwitchName(int nSwitch);
// The switch of that name, or -1.
int FindSwitch(const char* szName);
// Name of a list ("block", "allow", "trust"); null for a number that is none.
const char* StoreListName(int nList);

int ReadSwitch(tagStore* pStore, int nSwitch, uint32_t* pOn);
int WriteSwitch(tagStore* pStore, int nSwitch, uint32_t bOn);

struct tagStoredEntry {
    int64_t nId;           // grows in the order of adding
    const char* szText;    // UTF-8, valid during the callback
    uint32_t bSubdomains;  // 1: the domain and all its sub-domains (0 in the trust list)
    int64_t nAdded;        // seconds since 1970
};
// Called for each row; a result other than 0 ends the walk. It must not use the same tagStore.
using StoredEntryFn = int (*)(const tagStoredEntry* pEntry, void* pContext);

// Adds an entry at the end. One of the same text (bytes compared) is kept in its place: its flag is set to
// bSubdomains (STORE_OK), or STORE_EXISTS when it has that flag already.
int AddStoredEntry(tagStore* pStore, int nList, const char* szText, uint32_t bSubdomains);
// Removes the entry of that text, or STORE_NOT_FOUND.
int RemoveStoredEntry(tagStore* pStore, int nList, const char* szText);
// All entries in the order of adding.
int ForEachStoredEntry(tagStore* pStore, int nList, StoredEntryFn pfnEntry, void* pContext);

struct tagStoredCategory {
    uint32_t nCategory;  // real id, category/category_table.h
    uint32_t bBlocked;   // 1: blocked
};
using StoredCategoryFn = int (*)(const tagStoredCategory* pCategory, void* pContext);

// Blocks or unblocks a category of the table. STORE_EXISTS when it is so already.
int SetStoredCategory(tagStore* pStore, uint32_t nCategory, uint32_t bBlocked);
// All categories that were ever set, by id; those never set are not blocked.
int ForEachStoredCategory(tagStore* pStore, StoredCategoryFn pfnCategory, void* pContext);

// Fills an empty settings record with one state of the whole store; the entries of the lists go to pfnTake
// instead of the record, the switches are there by then (policy/client_settings.h). The record's categories
// carry the ids that the category mode nMode (CATENGINE_*) compares with: in the library modes library ids,
// else real ones. What is no category of the table is left out. On failure the record may be partly filled;
// the caller releases it either way.
int FillClientSettings(tagStore* pStore, uint8_t nMode, tagClientSettingData* pSettings,
                       TakeListSettingFn pfnTake, void* pContext);
// What takes them into the record, which is the context.
bool TakeIntoSettings(uint8_t nList, const char16_t* wszText, uint32_t bSubdomains, void* pSettings);
