#include "common/nibble_swap.h"

#include <gtest/gtest.h>

#include <array>

namespace {

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
