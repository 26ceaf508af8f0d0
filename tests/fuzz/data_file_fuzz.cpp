// Hostile data files. The lowest bit of the first byte chooses whether the rest gets a checksum that fits:
// with it an input passes the header test and reaches the bodies, without it the header itself is at stake.
#include <algorithm>
#include <cstring>
#include <string>

#include "policy/data_file.h"
#include "tests/fuzz/fuzz_segment.h"
#include "tests/support/data_file_writer.h"
#include "tests/support/memory_file.h"

namespace {

// Reads every byte of the table and expects an empty one after a failure.
template <class Table, class Record>
void CheckTable(int nResult, const Table& table, const Record* pRecords) {
    Require((table.nCount == 0) == (pRecords == nullptr));
    Require(nResult == 0 || table.nCount == 0);
    const auto* pBytes = reinterpret_cast<const unsigned char*>(pRecords);
    volatile unsigned nSum = 0;
    std::for_each(pBytes, pBytes + table.nCount * sizeof(Record),
                  [&nSum](unsigned char b) { nSum = nSum + b; });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    if (nSize == 0) return 0;
    std::string bytes(reinterpret_cast<const char*>(pData + 1), nSize - 1);
    if ((pData[0] & 1) != 0 && bytes.size() >= sizeof(tagDataFileHeader)) SignDataFile(bytes);
    const MemoryFile file(bytes);
    const std::string path = file.Path();

    tagPatternTable patterns;
    int nResult = ReadPatternFile(path.c_str(), &patterns);
    CheckTable(nResult, patterns, patterns.pPatterns);
    for (uint32_t i = 0; i < patterns.nCount; ++i) {
        Require(std::strlen(patterns.pPatterns[i]) < PATTERN_BYTES);
    }
    FreePatternTable(patterns);

    tagAddrRangeTable ranges;
    nResult = ReadAddrRangeFile(path.c_str(), &ranges);
    CheckTable(nResult, ranges, ranges.pRanges);
    FreeAddrRangeTable(ranges);

    tagPortTable ports;
    nResult = ReadPortFile(path.c_str(), &ports);
    CheckTable(nResult, ports, ports.pRecords);
    FreePortTable(ports);
    return 0;
}
