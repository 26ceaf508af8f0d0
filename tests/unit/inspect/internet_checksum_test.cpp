#include "inspect/internet_checksum.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include "tests/support/packet_composer.h"

namespace {

TEST(InternetChecksum, GivesTheExampleOfTheStandard) {
    const uint8_t data[] = {0x00, 0x01, 0xF2, 0x03, 0xF4, 0xF5, 0xF6, 0xF7};
    EXPECT_EQ(ntohs(InternetChecksum(data, sizeof data, 0)), static_cast<uint16_t>(~0xDDF2));
    EXPECT_EQ(ntohs(InternetChecksum(data, sizeof data, htons(0x1111))), static_cast<uint16_t>(~0xEF03));
    EXPECT_EQ(InternetChecksum(nullptr, 0, 0), 0xFFFF);
}

TEST(InternetChecksum, AgreesWithThePlainSumAtEveryLengthAndAlignment) {
    Bytes data(80);
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<uint8_t>(0xF1 * i + 0x93);
    for (size_t nOffset = 0; nOffset < 8; ++nOffset) {
        for (size_t nLength = 0; nLength + nOffset <= data.size(); ++nLength) {
            const Bytes part(data.begin() + nOffset, data.begin() + nOffset + nLength);
            EXPECT_EQ(ntohs(InternetChecksum(data.data() + nOffset, nLength, 0)), ReferenceChecksum(part))
                << nOffset << "+" << nLength;
        }
    }
}

TEST(InternetChecksum, CarriesAreNeverLost) {
    const Bytes longest(65535, 0xFF);
    EXPECT_EQ(ntohs(InternetChecksum(longest.data(), longest.size(), 0)), ReferenceChecksum(longest));
    EXPECT_EQ(InternetChecksum(longest.data(), 65534, 0xFFFFFFFF), 0);
}

}  // namespace
