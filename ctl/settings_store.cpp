#include "ctl/settings_store.h"

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

size_t SettingsStore::CountBlockedCategories() {
    size_t nBlocked = 0;
    const auto count = [](const tagStoredCategory* pCategory, void* pContext) {
        *static_cast<size_t*>(pContext) += pCategory->bBlocked == 1;
        return 0;
    };
    Succeeded(ForEachStoredCategory(&m_store, count, &nBlocked));
    return nBlocked;
}
