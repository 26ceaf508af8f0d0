// A mapped list: which of a million URL expressions stands in it, and with what. One format for threats (each
// expression goes with the name of a threat) and for categories (with a set of at most five).
//
// The file, little-endian, every section at a multiple of eight bytes and in this order:
//   header     tagURLMapHeader
//   index      2^nIndexBits + 1 u32: first-level index by the key's highest bits; entry i is the number of
//   the
//              first name of bucket i, the last entry is nNames
//   keys       nNames u64, strictly ascending (URLKey of each expression)
//   values     nNames u16: the number of the name's text
//   offsets    nTexts + 1 u32 into the texts; the last is the texts' length
//   texts      bytes without terminators: the threat's name, 1 to 255 bytes; or one to five u16 categories
// With 8 names to a bucket a name takes 10.5 bytes.
//
// A file is read into memory and checked from end to end before it is used, and whatever is wrong with it, it
// is refused. What becomes of the file later changes nothing: the file itself is not mapped, since whoever
// wrote into it in place, or cut it, would take the process down. Imports put a new file in its place.
// Look-ups allocate nothing and take no lock; any number of threads may share an open map. Opening and
// closing is for one thread while no look-up runs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "modules/urlmap/url_expressions.h"

constexpr char URLMAP_MAGIC[8] = {'W', 'S', 'U', 'R', 'L', 'M', 'A', 'P'};
constexpr uint32_t URLMAP_VERSION = 1;
constexpr uint32_t URLMAP_BYTE_ORDER = 0x01020304;
constexpr uint32_t URLMAP_INDEX_BITS_MAX = 28;
constexpr uint32_t URLMAP_NAMES_MAX = 1u << 30;
constexpr uint32_t URLMAP_TEXTS_MAX = 65536;
constexpr uint32_t URLMAP_TEXT_BYTES_MAX = 255;
constexpr uint32_t URLMAP_CATEGORIES_MAX = 5;  // of one name, and of one answer

enum : uint32_t { URLMAP_THREATS = 1, URLMAP_CATEGORIES = 2 };

struct tagURLMapHeader {
    char szMagic[8];  // URLMAP_MAGIC without terminator
    uint32_t nVersion;
    uint32_t nByteOrder;  // URLMAP_BYTE_ORDER as the writer's machine stores it
    uint32_t nKind;       // URLMAP_THREATS or URLMAP_CATEGORIES
    uint32_t nNames;
    uint32_t nIndexBits;  // 1 to URLMAP_INDEX_BITS_MAX
    uint32_t nTexts;
    uint64_t nIndexOffset;  // of the sections, in bytes from the start of the file
    uint64_t nKeysOffset;
    uint64_t nValuesOffset;
    uint64_t nOffsetsOffset;
    uint64_t nTextsOffset;
    uint64_t nFileBytes;  // length of the whole file
};
static_assert(sizeof(tagURLMapHeader) == 80);

enum : int {
    URLMAP_OK = 0,
    URLMAP_MISSING = 1,    // there is no such file
    URLMAP_DAMAGED = 2,    // not a map, cut short, or something in it does not hold together
    URLMAP_OTHER = 3,      // a map of another version, byte order or kind
    URLMAP_SYSTEM = 4,     // the system refused (errno says why)
    URLMAP_NO_MEMORY = 5,  //
    URLMAP_TOO_MANY = 6,   // more names or different texts than a map can hold
};

// An open map. Zeroed it is an empty list that may be asked and closed.
struct tagURLMap {
    const uint8_t* pMapped;  // what CloseURLMap gives back; null when the bytes are the caller's
    size_t nMapped;
    uint32_t nKind;
    uint32_t nNames;
    uint32_t nIndexBits;
    uint32_t nTexts;
    const uint32_t* pIndex;
    const uint64_t* pKeys;
    const uint16_t* pValues;
    const uint32_t* pOffsets;
    const char* pTexts;
};

// Reads the file szPath, which has to be of kind nKind. *pMap is overwritten; on failure it is empty.
int OpenURLMap(tagURLMap* pMap, const char* szPath, uint32_t nKind);

// The same over bytes in memory that begin at a multiple of eight and outlive the map.
int AttachURLMap(tagURLMap* pMap, std::span<const uint8_t> bytes, uint32_t nKind);

// Gives the memory back and leaves the empty map. Safe on an empty one.
void CloseURLMap(tagURLMap* pMap);

// The number of the text that goes with a key, or -1 when the map does not hold the key.
int32_t FindURLKey(const tagURLMap& map, uint64_t nKey);

// The number of the text of the first key that the map holds, or -1.
int32_t FindURLKeys(const tagURLMap& map, const tagURLKeys& keys);

// A text by its number (below nTexts). It lies in the map. For threats it is the threat's name.
std::string_view URLMapText(const tagURLMap& map, uint32_t nText);

// A text of a categories map as category numbers (those of the category table). Returns how many, at most
// URLMAP_CATEGORIES_MAX.
uint32_t URLMapCategories(const tagURLMap& map, uint32_t nText,
                          std::span<uint16_t, URLMAP_CATEGORIES_MAX> categories);

// The categories of a URL by its keys: those of the longest match first, then what shorter matches add; none
// twice. Returns how many, at most URLMAP_CATEGORIES_MAX; 0 when the map holds none of the keys.
uint32_t FindURLCategories(const tagURLMap& map, const tagURLKeys& keys,
                           std::span<uint16_t, URLMAP_CATEGORIES_MAX> categories);
