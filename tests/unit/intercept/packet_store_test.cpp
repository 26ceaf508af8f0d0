#include "intercept/packet_store.h"

#include <gtest/gtest.h>

#include <memory>

TEST(PacketStore, IsFullAfterTheLastSlotWhateverWasTaken) {
    const auto pStore = std::make_unique<tagPacketStore>();
    PacketStoreInit(*pStore);
    tagPacketSlot slot{};
    const auto push = [&](uint32_t nNumber) {
        slot.nMessageLen = nNumber;
        return PacketStorePush(*pStore, slot);
    };
    const auto pop = [&] { return PacketStorePop(*pStore, slot) == 0 ? int(slot.nMessageLen) : -1; };
    EXPECT_EQ(pop(), -1);
    for (int i = 0; i < 500; ++i)
        ASSERT_EQ(push(i), 0) << i;
    for (int i = 0; i < 499; ++i)
        ASSERT_EQ(pop(), i);
    EXPECT_EQ(push(500), STORE_FULL) << "one message is still in";
    EXPECT_EQ(pop(), 499);
    EXPECT_EQ(push(501), 0) << "emptied: it starts over";
    EXPECT_EQ(pStore->nHead, 0);
    EXPECT_EQ(pop(), 501);
}
