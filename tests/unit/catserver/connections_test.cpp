#include "catserver/connections.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

// The indices by age, read from both ends.
std::vector<uint32_t> ByAge(const tagConnectionTable& table) {
    std::vector<uint32_t> forward, backward;
    for (uint32_t i = table.nOldest; i != NO_CONNECTION; i = table.connections[i].nNewer)
        forward.push_back(i);
    for (uint32_t i = table.nNewest; i != NO_CONNECTION; i = table.connections[i].nOlder)
        backward.push_back(i);
    EXPECT_TRUE(std::equal(forward.begin(), forward.end(), backward.rbegin(), backward.rend()));
    return forward;
}

TEST(ConnectionTable, KeepsTheirAgeHoweverTheyClose) {
    const auto table = std::make_unique<tagConnectionTable>();
    InitConnections(*table);
    std::vector<uint32_t> expected;
    uint32_t nRandom = 1;
    for (int64_t nNow = 0; nNow < 4000; ++nNow) {
        nRandom = nRandom * 1664525 + 1013904223;
        // More come than go, until the table is full; then more go than come, until it is empty.
        const bool bGrow = nNow < 2000;
        if ((nRandom >> 16) % 4 != 0 ? bGrow : !bGrow) {
            const int nSocket = open("/dev/null", O_RDONLY | O_CLOEXEC);
            const uint32_t nIndex = AddConnection(*table, nSocket, nNow);
            ASSERT_EQ(nIndex == NO_CONNECTION, expected.size() == CONNECTIONS_MAX);
            if (nIndex == NO_CONNECTION) {
                close(nSocket);
                continue;
            }
            EXPECT_EQ(table->connections[nIndex].nDeadline, nNow + CONNECTION_TIME_MS);
            expected.push_back(nIndex);
        } else if (!expected.empty()) {
            const auto closed = expected.begin() + (nRandom >> 8) % expected.size();
            CloseConnection(*table, *closed);
            CloseConnection(*table, *closed);
            expected.erase(closed);
        }
        ASSERT_EQ(ByAge(*table), expected);
    }
    EXPECT_TRUE(expected.empty());
}

}  // namespace
