#include "ctl/settings_store.h"

#include <algorithm>

#include "category/category_table.h"

bool SettingsStore::IsOn(int nSwitch) {
    uint32_t bOn = 0;
    Succeeded(ReadSwitch(&m_store, nSwitch, &bOn));
    return bOn == 1;
}

void SettingsStore::SetSwitch(int nSwitch, bool bOn) {
    Succeeded(WriteSwitch(&m_store, nSwitch, bOn ? 1 : 0));
}

std::vector<tagEntry> SettingsStore::Entries(int nList) {
    std::vector<tagEntry> entries;
    const auto append = [](const tagStoredEntry* pEntry, void* pContext) {
        static_cast<std::vector<tagEntry>*>(pContext)->push_back({pEntry->szText, pEntry->bSubdomains == 1});
        return 0;
    };
    Succeeded(ForEachStoredEntry(&m_store, nList, append, &entries));
    return entries;
}

bool SettingsStore::Add(int nList, const tagEntry& entry) {
    return Succeeded(AddStoredEntry(&m_store, nList, entry.text.c_str(), entry.bSubdomains ? 1 : 0),
                     STORE_EXISTS);
}

bool SettingsStore::Remove(int nList, const std::string& text) {
    return Succeeded(RemoveStoredEntry(&m_store, nList, text.c_str()), STORE_NOT_FOUND);
}

void SettingsStore::Begin() {
    Succeeded(BeginStoreChange(&m_store));
}

void SettingsStore::Keep() {
    Succeeded(EndStoreChange(&m_store, 1));
}

std::vector<uint8_t> SettingsStore::BlockedCategories() {
    std::vector<uint8_t> blocked;
    const auto append = [](const tagStoredCategory* pCategory, void* pContext) {
        if (pCategory->bBlocked != 1 || pCategory->nCategory >= CATEGORY_COUNT) return 0;
        static_cast<std::vector<uint8_t>*>(pContext)->push_back(static_cast<uint8_t>(pCategory->nCategory));
        return 0;
    };
    Succeeded(ForEachStoredCategory(&m_store, append, &blocked));
    return blocked;
}

bool SettingsStore::SetCategory(uint8_t nCategory, bool bBlocked) {
    const auto blocked = BlockedCategories();
    if (std::binary_search(blocked.begin(), blocked.end(), nCategory) == bBlocked) return false;
    return Succeeded(SetStoredCategory(&m_store, nCategory, bBlocked ? 1 : 0));
}
