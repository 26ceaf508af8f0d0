#include "inspect/excluded_range.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include "policy/policy_state.h"

namespace {

uint32_t Number(const char* szAddr) {
    return ntohl(inet_addr(szAddr));
}

TEST(IsDestinationExcluded, ComparesWithBothEndsOfEachRange) {
    tagAddrRange ranges[] = {
        {Number("10.0.0.0"), inet_addr("255.0.0.0")},
        {Number("192.0.2.77"), inet_addr("255.255.255.0")},  // begins inside its network
        {Number("240.0.0.0"), inet_addr("240.0.0.0")},       // above the largest signed number
        {Number("198.51.100.7"), inet_addr("255.255.255.255")},
    };
    g_ExcludedRanges = {std::size(ranges), ranges};
    const struct {
        const char* szDestination;
        int nResult;
    } cases[] = {
        {"9.255.255.255", 1},   {"10.0.0.0", 0},   {"10.255.255.255", 0},  {"11.0.0.0", 1},
        {"192.0.2.76", 1},      {"192.0.2.77", 0}, {"192.0.2.255", 0},     {"192.0.3.0", 1},
        {"239.255.255.255", 1}, {"240.0.0.0", 0},  {"255.255.255.255", 0}, {"198.51.100.7", 0},
    };
    for (const auto& c : cases) {
        tagPacketInfo info{};
        info.nDstAddr = inet_addr(c.szDestination);
        EXPECT_EQ(IsDestinationExcluded(&info), c.nResult) << c.szDestination;
    }
    g_ExcludedRanges = {0, nullptr};
    tagPacketInfo info{};
    info.nDstAddr = inet_addr("10.0.0.0");
    EXPECT_EQ(IsDestinationExcluded(&info), 1) << "empty table";
}

}  // namespace
