// Protected data files: an 88-byte header with a magic word, the product's copyright text and a checksum,
// then a body scrambled byte by byte with a fixed key. Leaf header: the format, the header test and the
// readers, which keep no state and may be called from any thread.
//
// Numbers are little-endian; only the netmask of an address range is in network byte order. A body may be
// longer than its count says; the rest is ignored. The readers take hostile files: whatever is wrong with
// one, the result is a code and an empty table.
#pragma once

#include <cstddef>
#include <cstdint>

#include "common/export.h"

constexpr uint8_t DATAFILE_KEY = 0x3D;
constexpr char DATAFILE_MAGIC[] = "WSCF";
// Latin-1, compared without regard to ASCII case.
constexpr char DATAFILE_COPYRIGHT[] = "Copyright \xA9 Morvane Project, All rights reserved";

#pragma pack(push, 1)
struct tagDataFileHeader {
    char szMagic[4];       // DATAFILE_MAGIC without terminator
    char szCopyright[80];  // DATAFILE_COPYRIGHT and a NUL; the rest is not examined
    uint32_t nChecksum;    // of the file, as CalculateCheckSum computes it
};
#pragma pack(pop)
static_assert(sizeof(tagDataFileHeader) == 88);
static_assert(sizeof(DATAFILE_COPYRIGHT) == 48 + 1);

constexpr uint32_t DATAFILE_BODY_OFFSET = sizeof(tagDataFileHeader);
constexpr uint32_t PATTERN_BYTES = 1024;  // one URL pattern, NUL-terminated

struct tagAddrRange {
    uint32_t nBase;  // first address as a number, host order
    uint32_t nMask;  // netmask, network order
};
static_assert(sizeof(tagAddrRange) == 8);

struct tagPortRecord {
    uint16_t reserved[2];
    uint16_t nPort;
};
static_assert(sizeof(tagPortRecord) == 6);

struct tagPatternIndex;
struct tagRangeIndex;

// The tables own their block (malloc); count 0 goes with a null pointer.
struct tagPatternTable {
    uint32_t nCount;
    char (*pPatterns)[PATTERN_BYTES];
    tagPatternIndex* pIndex = nullptr;  // policy/pattern_index.h; null: the table is walked
};
struct tagAddrRangeTable {
    uint16_t nCount;
    tagAddrRange* pRanges;
    tagRangeIndex* pIndex = nullptr;  // policy/range_index.h; null: the table is walked
};
struct tagPortTable {
    uint16_t nCount;
    tagPortRecord* pRecords;
};

// Descrambles nLength bytes; pSource and pDestination may be the same buffer. Returns false, doing nothing,
// when either is null.
extern "C" WEBSEC_API bool DecryptBuffer(const uint8_t* pSource, uint8_t* pDestination, uint32_t nLength,
                                         uint8_t nKey);

// 0 when header and checksum of the open file are valid, else 1. Moves the file position.
int CheckDataFileHeader(int fd);

// Each opens the file read-only and closes it on every path. 0: the table holds the records (count 0 and no
// block for an empty file). Otherwise the table is empty and the result is
//   2       path or table is null
//   1       bad header; for patterns also: cannot be opened, short, no memory
//   7       no memory (ranges and ports)
//   errno   cannot be opened or read (ranges and ports); a short file is EIO
// A pattern record without a NUL is cut to 1023 characters.
// The table's previous block is not freed: empty it first.
int ReadPatternFile(const char* szPath, tagPatternTable* pTable);
int ReadAddrRangeFile(const char* szPath, tagAddrRangeTable* pTable);
int ReadPortFile(const char* szPath, tagPortTable* pTable);

// Frees the block, but no index, and leaves the empty table. Safe on an empty table.
void FreePatternTable(tagPatternTable& table);
void FreeAddrRangeTable(tagAddrRangeTable& table);
void FreePortTable(tagPortTable& table);
