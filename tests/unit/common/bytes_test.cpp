#include <fcntl.h>
#include <gtest/gtest.h>

#include <array>

#include "common/byte_search.h"
#include "common/crc32.h"
#include "common/nibble_swap.h"
#include "tests/unit/common/temp_folder.h"

namespace {

const unsigned char* Bytes(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

TEST(ByteSearch, FindsTheFirstOccurrence) {
    using namespace std::string_literals;
    const struct {
        std::string buffer, pattern;
        long nExpected;
    } rows[] = {
        {"xabcabc", "abc", 1}, {"aab", "ab", 1}, {"a\0b\0"s, "\0"s, 1},
        {"abc", "abcd", -1},   {"ab", "", -1},   {"", "a", -1},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(SearchFor(Bytes(row.buffer), static_cast<unsigned int>(row.buffer.size()),
                            Bytes(row.pattern), static_cast<unsigned int>(row.pattern.size())),
                  row.nExpected)
            << row.buffer << " / " << row.pattern;
    }
    EXPECT_EQ(SearchFor(nullptr, 1, Bytes("a"), 1), -1);
    EXPECT_EQ(SearchFor(Bytes("a"), 1, nullptr, 1), -1);
}

TEST(ByteSearch, FindsAcrossBlocksOfAFile) {
    const struct {
        size_t nFile, nAt, nPattern;
        long nOffset, nExpected;
        const char* szReason;
    } rows[] = {
        {100, 95, 5, 0, 95, "at the very end"},
        {100, 50, 5, 50, 50, "where the search starts"},
        {100, 50, 5, 9999, -1, "search from behind the end"},
        {5000, 2046, 5, 0, 2046, "across two blocks"},
        {2050, 2045, 5, 0, 2045, "a last block of two bytes and the overlap"},
        {2060, 18, 2042, 0, 18, "longest pattern that leaves room to go forward"},
        {6000, 3000, 2043, 0, -1, "a pattern that leaves none"},
    };
    const TempFolder folder;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szReason);
        std::string file(row.nFile, '.');
        file.replace(row.nAt, row.nPattern, std::string(row.nPattern - 1, 'a') + "z");
        const std::string pattern = std::string(row.nPattern - 1, 'A') + "Z";
        const int fd = open(folder.Put("file", file).c_str(), O_RDONLY | O_CLOEXEC);
        ASSERT_GE(fd, 0);
        EXPECT_EQ(SearchInFile(fd, Bytes(pattern), static_cast<unsigned int>(row.nPattern), row.nOffset),
                  row.nExpected);
        close(fd);
    }
    const int fd = open(folder.Put("file", std::string(5000, 'A')).c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(SearchInFile(-1, Bytes("A"), 1, 0), -1);
    EXPECT_EQ(SearchInFile(fd, nullptr, 1, 0), -1);
    EXPECT_EQ(SearchInFile(fd, Bytes("A"), 1, -1), -1);
    EXPECT_EQ(SearchInFile(fd, Bytes("A"), 0, 0), -1);
    EXPECT_EQ(SearchInFile(fd, Bytes("B"), 0xFFFFFFFF, 0), -1) << "the length must not wrap";
    EXPECT_EQ(SearchInFile(fd, Bytes("a"), 1, 0), -1) << "the pattern is not upper-cased";
    close(fd);
}

TEST(Crc32, GivesTheStandardCheckValues) {
    CKVCrc32 crc32;
    unsigned int nCrc = 0;
    EXPECT_EQ(crc32.GetStringCrc32("123456789", &nCrc), 1);
    EXPECT_EQ(nCrc, 0xCBF43926U);
    EXPECT_EQ(crc32.GetBuffCrc32(Bytes("123456789"), 9, &nCrc), 1);
    EXPECT_EQ(nCrc, 0x340BC6D9U);
    nCrc = 0xFFFFFFFF;
    EXPECT_EQ(crc32.GetBuffCrc32Ex(Bytes("1234"), 4, &nCrc), 1);
    EXPECT_EQ(crc32.GetBuffCrc32Ex(Bytes("56789"), 5, &nCrc), 1);
    EXPECT_EQ(crc32.GetBuffCrc32Ex(Bytes("x"), -1, &nCrc), 1);
    EXPECT_EQ(nCrc, 0x340BC6D9U);
}

TEST(Crc32, RunsOverWholeFilesOrLeavesTheResultAlone) {
    CKVCrc32 crc32;
    const TempFolder folder;
    for (const int nBytes : {0, 1, 1024, 1025, 3000}) {
        std::string bytes(static_cast<size_t>(nBytes), '\xA5');
        if (nBytes > 1) bytes[1] = '\0';
        const std::string path = folder.Put("file", bytes);
        unsigned int nRegister = 0, nBuffered = 1, nPlain = 2;
        crc32.GetBuffCrc32(Bytes(bytes), nBytes, &nRegister);
        EXPECT_EQ(crc32.GetFileCrc32fopen(path.c_str(), &nBuffered), 1);
        EXPECT_EQ(crc32.GetFileCrc32open(path.c_str(), &nPlain), 1);
        EXPECT_EQ(nBuffered, ~nRegister) << nBytes;
        EXPECT_EQ(nPlain, ~nRegister) << nBytes;
    }
    unsigned int nCrc = 42;
    EXPECT_FALSE(crc32.GetStringCrc32(nullptr, &nCrc) || crc32.GetBuffCrc32(nullptr, 1, &nCrc) ||
                 crc32.GetBuffCrc32Ex(nullptr, 1, &nCrc));
    for (const char* szPath : {static_cast<const char*>(nullptr), "/nonexistent", "/"})
        EXPECT_FALSE(crc32.GetFileCrc32fopen(szPath, &nCrc) || crc32.GetFileCrc32open(szPath, &nCrc));
    EXPECT_EQ(nCrc, 42U);
}

TEST(NibbleSwap, SwapsTheFirstBytesOnly) {
    for (const auto swap : {Encrypt, Decrypt}) {
        std::array<unsigned char, 3> bytes = {0x12, 0xF0, 0x3A};
        swap(bytes.data(), 2);
        EXPECT_EQ(bytes, (std::array<unsigned char, 3>{0x21, 0x0F, 0x3A}));
        swap(bytes.data(), -1);
        EXPECT_EQ(bytes[0], 0x21);
        swap(nullptr, 2);
    }
}

}  // namespace
