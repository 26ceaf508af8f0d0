#include "intercept/packet_store.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

namespace {
class PacketStore : public testing::Test {
  protected:
    PacketStore() { PacketStoreInit(*pStore); }

    int Push(uint32_t nNumber) {
        in.nQueueNum = 3;
        in.nMessageLen = sizeof nNumber;
        std::memcpy(in.message, &nNumber, sizeof nNumber);
        return PacketStorePush(*pStore, in);
    }
    // The number popped, or -1.
    int64_t Pop() {
        if (PacketStorePop(*pStore, out) != 0) return -1;
        uint32_t nNumber = 0;
        std::memcpy(&nNumber, out.message, sizeof nNumber);
        return nNumber;
    }

    std::unique_ptr<tagPacketStore> pStore = std::make_unique<tagPacketStore>();
    tagPacketSlot in{}, out{};
};

TEST_F(PacketStore, IsFullAfterTheLastSlotWhateverWasTaken) {
    EXPECT_EQ(PacketStorePop(*pStore, out), STORE_EMPTY);
    EXPECT_EQ(pStore->nHead, -1) << "an empty pop changes nothing";
    EXPECT_EQ(pStore->nTail, -1);
    for (uint32_t i = 0; i < 500; ++i)
        ASSERT_EQ(Push(i), 0) << i;
    for (uint32_t i = 0; i < 499; ++i)
        ASSERT_EQ(Pop(), i);
    EXPECT_EQ(Push(500), STORE_FULL) << "one message is still in";
    EXPECT_EQ(Pop(), 499);
    EXPECT_EQ(Push(501), 0) << "emptied: it starts over";
    EXPECT_EQ(pStore->nHead, 0);
    EXPECT_EQ(pStore->nTail, 0);
    EXPECT_EQ(Pop(), 501);
}

}  // namespace
