// The settings record that the settings store fills for the daemon: the boundary to libdbmod.so. Leaf header,
// shared with the modules.
//
// The caller makes the record empty and releases it; the module appends to the sequences, or hands the
// entries of the lists over one by one. A sequence has the layout of the standard library's vector (first,
// end, end of storage) and its storage comes from operator new, so a module may as well be built over
// std::vector. Texts are 16-bit units, NUL-terminated.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <span>
#include <type_traits>
#include <vector>

template <class T>
struct tagSequence {
    T* pFirst;       // null while nothing was appended
    T* pEnd;         // one past the last element
    T* pStorageEnd;  // one past the storage
};
static_assert(sizeof(tagSequence<int>) == sizeof(std::vector<int>));

// One entry of the allow or the block list.
struct tagURLSetting {
    char16_t wszText[1024];
    uint32_t bSubdomains;  // 1: the domain and all its sub-domains
    uint32_t reserved;
};
static_assert(sizeof(tagURLSetting) == 2056);

struct tagTrustedSiteSetting {
    uint32_t reserved;
    char16_t wszText[1024];
};
static_assert(sizeof(tagTrustedSiteSetting) == 2052);

struct tagCategorySetting {
    uint32_t reserved1;
    uint32_t nCategory;  // logical category id
    uint8_t reserved2[512];
    uint32_t bBlocked;  // 1: requests of this category are blocked
};
static_assert(sizeof(tagCategorySetting) == 524);

struct tagClientSettingData {
    uint32_t nBrowsingProtection;  // 1: on; so are the others
    uint32_t nPhishingProtection;
    uint32_t nWebCategoryFilter;
    uint32_t nCustomBlockList;
    uint32_t reserved;
    uint32_t nReportBlocked;
    tagSequence<tagTrustedSiteSetting> vecTrustedSites;
    tagSequence<tagCategorySetting> vecCategories;
    tagSequence<tagURLSetting> vecAllowList;
    tagSequence<tagURLSetting> vecBlockList;
};
static_assert(sizeof(tagClientSettingData) == 6 * 4 + 4 * 24);

// Fills an empty record. Non-zero low byte: success. pReserved may be written and is not read.
using AvGetClientAllSettingDataFn = uint8_t (*)(tagClientSettingData* pSettings, uint32_t* pReserved);

// Which list an entry belongs to
enum : uint8_t { LIST_BLOCK = 0, LIST_ALLOW = 1, LIST_TRUSTED = 2 };

// Takes one entry, its text in a field as those above, valid during the call. False ends the walk.
using TakeListSettingFn = bool (*)(uint8_t nList, const char16_t* wszText, uint32_t bSubdomains,
                                   void* pContext);

// What a module may offer besides: fills the record but for its lists, the switches first, and hands over
// their entries, those of one list in their order, so that they never are in memory all at once. Non-zero low
// byte: success; else the caller forgets what it took.
using AvWalkClientSettingDataFn = uint8_t (*)(tagClientSettingData* pSettings, TakeListSettingFn pfnTake,
                                              void* pContext, uint32_t* pReserved);

template <class T>
std::span<const T> Elements(const tagSequence<T>& seq) {
    return {seq.pFirst, static_cast<size_t>(seq.pEnd - seq.pFirst)};
}

// Makes room for twice as many elements. False (the sequence unchanged) when memory runs out.
template <class T>
bool GrowSequence(tagSequence<T>& seq) {
    static_assert(std::is_trivially_copyable_v<T>);
    const size_t nCount = Elements(seq).size();
    const size_t nRoom = nCount == 0 ? 16 : nCount * 2;
    T* pGrown = static_cast<T*>(::operator new(nRoom * sizeof(T), std::nothrow));
    if (!pGrown) return false;
    if (nCount != 0) std::memcpy(static_cast<void*>(pGrown), seq.pFirst, nCount * sizeof(T));
    ::operator delete(seq.pFirst);
    seq = {pGrown, pGrown + nCount, pGrown + nRoom};
    return true;
}

// Appends one element of which nothing is set: an entry is short, and its field is not. Returns it, or null
// (the sequence unchanged) when memory runs out.
template <class T>
T* AppendBareElement(tagSequence<T>& seq) {
    if (seq.pEnd == seq.pStorageEnd && !GrowSequence(seq)) return nullptr;
    return new (seq.pEnd++) T;
}

// The same, zeroed.
template <class T>
T* AppendElement(tagSequence<T>& seq) {
    T* pElement = AppendBareElement(seq);
    return pElement ? new (pElement) T{} : nullptr;
}

// Frees all four sequences and leaves them empty. Safe on an empty record.
inline void ReleaseSettings(tagClientSettingData& settings) {
    const auto release = [](auto& seq) {
        ::operator delete(seq.pFirst);
        seq = {nullptr, nullptr, nullptr};
    };
    release(settings.vecTrustedSites);
    release(settings.vecCategories);
    release(settings.vecAllowList);
    release(settings.vecBlockList);
}
