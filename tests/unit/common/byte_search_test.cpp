#include "common/byte_search.h"

#include <fcntl.h>

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
}

TEST(ByteSearch, RefusesWhatCannotBeSearched) {
    const TempFolder folder;
    const int fd = open(folder.Put("file", std::string(5000, 'A')).c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(SearchInFile(-1, Bytes("A"), 1, 0), -1);
    EXPECT_EQ(SearchInFile(fd, nullptr, 1, 0), -1);
    EXPECT_EQ(SearchInFile(fd, Bytes("A"), 1, -1), -1);
    EXPECT_EQ(SearchInFile(fd, Bytes("A"), 0, 0), -1);
    const std::string longest(5000, 'B');
    EXPECT_EQ(SearchInFile(fd, Bytes(longest), 0xFFFFFFFF, 0), -1);  // the length must not wrap
    EXPECT_EQ(SearchInFile(fd, Bytes("a"), 1, 0), -1);               // the pattern is not upper-cased
    close(fd);
}

}  // namespace
