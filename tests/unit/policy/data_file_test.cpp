#include "policy/data_file.h"

#include <fcntl.h>

#include <cerrno>
#include <functional>
#include <string>

#include "gtest/gtest.h"
#include "tests/support/data_file_writer.h"
#include "tests/support/memory_file.h"

namespace {

TEST(DataFileTest, DecryptBufferUndoesTheProducer) {
    std::string every;
    for (int n = 0; n < 256; ++n) {
        every += static_cast<char>(n);
    }
    std::string buffer = ScrambleBody(every);
    uint8_t* pBytes = reinterpret_cast<uint8_t*>(buffer.data());
    EXPECT_TRUE(DecryptBuffer(pBytes, pBytes, 256, DATAFILE_KEY));
    EXPECT_EQ(buffer, every);

    // One byte by hand: 0x1D ^ 0x00 = 0x1D; 61 * 61 = 3721 = 0x89 modulo 256; 0x1D - 0x89 = 0x94.
    const uint8_t zero = 0;
    uint8_t plain = 0;
    EXPECT_TRUE(DecryptBuffer(&zero, &plain, 1, DATAFILE_KEY));
    EXPECT_EQ(plain, 0x94);

    EXPECT_FALSE(DecryptBuffer(nullptr, &plain, 1, DATAFILE_KEY));
    EXPECT_FALSE(DecryptBuffer(&zero, nullptr, 1, DATAFILE_KEY));
}

TEST(DataFileTest, HeaderMustHoldMagicCopyrightAndChecksum) {
    const struct {
        const char* szReason;
        int nExpected;
        std::function<void(std::string&)> change;
        bool bSignAgain;
    } rows[] = {
        {"as made", 0, [](std::string&) {}, false},
        {"other letter case in the copyright", 0, [](std::string& f) { f.replace(4, 9, "cOPYRIGHT"); }, true},
        {"bytes behind the copyright's NUL", 0, [](std::string& f) { f.replace(53, 31, 31, 'x'); }, true},
        {"lower-case magic", 1, [](std::string& f) { f.replace(0, 4, "wscf"); }, true},
        {"case bit of the copyright sign", 1, [](std::string& f) { f[14] = '\x89'; }, true},
        {"copyright goes on", 1, [](std::string& f) { f[52] = 'x'; }, true},
        {"damaged checksum", 1, [](std::string& f) { f[84] ^= 1; }, false},
        {"damaged body", 1, [](std::string& f) { f.back() ^= 1; }, false},
        {"cut header", 1, [](std::string& f) { f.resize(87); }, false},
    };
    for (const auto& row : rows) {
        std::string bytes = MakeDataFile("body");
        row.change(bytes);
        if (row.bSignAgain) SignDataFile(bytes);
        EXPECT_EQ(CheckDataFileHeader(MemoryFile(bytes).Descriptor()), row.nExpected) << row.szReason;
    }
    EXPECT_EQ(CheckDataFileHeader(-1), 1);
}

TEST(DataFileTest, ReadsPatterns) {
    const std::string longest(PATTERN_BYTES, 'x');
    const MemoryFile file(MakeDataFile(PatternBody({"a.example/", longest}) + "ignored"));
    tagPatternTable table;
    ASSERT_EQ(ReadPatternFile(file.Path().c_str(), &table), 0);
    ASSERT_EQ(table.nCount, 2u);
    EXPECT_STREQ(table.pPatterns[0], "a.example/");
    EXPECT_EQ(std::string(table.pPatterns[1]), longest.substr(1)) << "a record without NUL is cut";
    FreePatternTable(table);
    FreePatternTable(table);
    EXPECT_EQ(table.pPatterns, nullptr);
}

TEST(DataFileTest, ReadsRangesAndPorts) {
    const std::string count = BytesOf(uint16_t{1});
    // 10.1.0.0 little-endian, 255.255.0.0 as it goes over the wire.
    const MemoryFile ranges(
        MakeDataFile(count + std::string("\x00\x00\x01\x0A\xFF\xFF\x00\x00", 8) + "ignored"));
    tagAddrRangeTable rangeTable;
    ASSERT_EQ(ReadAddrRangeFile(ranges.Path().c_str(), &rangeTable), 0);
    ASSERT_EQ(rangeTable.nCount, 1);
    EXPECT_EQ(rangeTable.pRanges[0].nBase, 0x0A010000u);
    EXPECT_EQ(rangeTable.pRanges[0].nMask, 0x0000FFFFu);
    FreeAddrRangeTable(rangeTable);

    const MemoryFile ports(MakeDataFile(count + std::string("\1\2\3\4\x90\x1F", 6)));
    tagPortTable portTable;
    ASSERT_EQ(ReadPortFile(ports.Path().c_str(), &portTable), 0);
    ASSERT_EQ(portTable.nCount, 1);
    EXPECT_EQ(portTable.pRecords[0].nPort, 8080);
    FreePortTable(portTable);
}

// What each of the three readers makes of the same wrong file.
TEST(DataFileTest, AWrongFileLeavesAnEmptyTable) {
    const std::string twoPatterns = PatternBody({"a", "b"});
    std::string damaged = MakeDataFile(twoPatterns);
    damaged.back() ^= 1;
    const struct {
        const char* szReason;
        std::string file;
        int nPatterns, nRanges, nPorts;
    } rows[] = {
        {"count 0", MakeDataFile(BytesOf(uint32_t{0})), 0, 0, 0},
        {"damaged", damaged, 1, 1, 1},
        {"no count", MakeDataFile("\x01"), 1, EIO, EIO},
        {"fewer records than counted", MakeDataFile(std::string("\x02\x00\x00\x00", 4) + "1234567"), 1, EIO,
         EIO},
        {"highest count", MakeDataFile("\xFF\xFF\xFF\xFF" + std::string(5000, 'x')), 1, EIO, EIO},
    };
    const int nDescriptor = dup(0);
    close(nDescriptor);
    for (const auto& row : rows) {
        const MemoryFile file(row.file);
        tagPatternTable patterns = {7, nullptr};
        tagAddrRangeTable ranges = {7, nullptr};
        tagPortTable ports = {7, nullptr};
        EXPECT_EQ(ReadPatternFile(file.Path().c_str(), &patterns), row.nPatterns) << row.szReason;
        EXPECT_EQ(ReadAddrRangeFile(file.Path().c_str(), &ranges), row.nRanges) << row.szReason;
        EXPECT_EQ(ReadPortFile(file.Path().c_str(), &ports), row.nPorts) << row.szReason;
        EXPECT_EQ(patterns.nCount + ranges.nCount + ports.nCount, 0u) << row.szReason;
        EXPECT_EQ(patterns.pPatterns, nullptr) << row.szReason;
        EXPECT_EQ(ranges.pRanges, nullptr) << row.szReason;
        EXPECT_EQ(ports.pRecords, nullptr) << row.szReason;
    }
    tagPatternTable patterns = {};
    tagAddrRangeTable ranges = {};
    tagPortTable ports = {};
    EXPECT_EQ(ReadPatternFile("/nonexistent", &patterns), 1);
    EXPECT_EQ(ReadAddrRangeFile("/nonexistent", &ranges), ENOENT);
    EXPECT_EQ(ReadPortFile("/nonexistent", &ports), ENOENT);
    EXPECT_EQ(ReadPatternFile(nullptr, &patterns), 2);
    EXPECT_EQ(ReadAddrRangeFile(nullptr, &ranges), 2);
    EXPECT_EQ(ReadPortFile("/nonexistent", nullptr), 2);
    EXPECT_EQ(dup(0), nDescriptor) << "a file was left open";
    close(nDescriptor);
}

}  // namespace
