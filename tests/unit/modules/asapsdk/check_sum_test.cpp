#include "modules/asapsdk/check_sum.h"

#include <unistd.h>

#include <string>

#include "gtest/gtest.h"
#include "tests/support/memory_file.h"

namespace {

// The expected values are those of zlib's crc32 over the file without bytes 84 to 87.
TEST(CheckSumTest, IsTheCrcOfAllButItsOwnField) {
    const std::string head(84, 'a');
    const struct {
        const char* szReason;
        std::string file;
        uint32_t nExpected;
    } rows[] = {
        {"field zero", head + std::string(4, '\0') + "123456789", 0x7C02C204},
        {"field filled", head + "\xFF\xFE\xFD\xFC" + "123456789", 0x7C02C204},
        {"longer than one read", head + "...." + std::string(100000, 'x'), 0x37191BC6},
    };
    for (const auto& row : rows) {
        const MemoryFile file(row.file);
        ASSERT_EQ(lseek(file.Descriptor(), 7, SEEK_SET), 7);
        uint32_t nChecksum = 0;
        EXPECT_TRUE(CalculateCheckSum(file.Descriptor(), &nChecksum)) << row.szReason;
        EXPECT_EQ(nChecksum, row.nExpected) << row.szReason;
        EXPECT_EQ(lseek(file.Descriptor(), 0, SEEK_CUR), 7) << "the position is left alone";
    }
}

TEST(CheckSumTest, RefusesWhatIsNoDataFile) {
    const MemoryFile shortFile(std::string(87, 'a'));
    const MemoryFile file(std::string(88, 'a'));
    int pipeEnds[2];
    ASSERT_EQ(pipe(pipeEnds), 0);
    uint32_t nChecksum = 42;
    EXPECT_FALSE(CalculateCheckSum(shortFile.Descriptor(), &nChecksum));
    EXPECT_FALSE(CalculateCheckSum(pipeEnds[0], &nChecksum)) << "cannot be read by position";
    EXPECT_FALSE(CalculateCheckSum(-1, &nChecksum));
    EXPECT_FALSE(CalculateCheckSum(file.Descriptor(), nullptr));
    EXPECT_EQ(nChecksum, 42u);
    close(pipeEnds[0]);
    close(pipeEnds[1]);
}

}  // namespace
