// A packet on its way from the store to an accepted verdict asks for no memory. A program of its own: it
// counts every allocation of the process.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <linux/netfilter.h>

#include <cstdlib>
#include <cstring>

#include "inspect/queued_packet.h"
#include "intercept/packet_store.h"
#include "intercept/queue_attributes.h"
#include "policy/url_scanner.h"
#include "tests/support/fake_kernel_queue.h"
#include "tests/support/packet_composer.h"
#include "tests/support/policy_fixture.h"

namespace {
size_t g_nAllocations = 0;
}

// Take the place of the C library's; its operator new comes here too.
extern "C" {
void* __libc_malloc(size_t nSize);
void* __libc_calloc(size_t nCount, size_t nSize);
void* __libc_realloc(void* pBlock, size_t nSize);

void* malloc(size_t nSize) {
    ++g_nAllocations;
    return __libc_malloc(nSize);
}
void* calloc(size_t nCount, size_t nSize) {
    ++g_nAllocations;
    return __libc_calloc(nCount, nSize);
}
void* realloc(void* pBlock, size_t nSize) {
    ++g_nAllocations;
    return __libc_realloc(pBlock, nSize);
}
}

namespace {

class NoAllocation : public PolicyTest {};

TEST_F(NoAllocation, FromTheStoreToTheVerdict) {
    g_bPhishingProtection = g_bBrowsingProtection = g_bCustomBlockList = g_bWebCategoryFilter = 1;
    FillList(g_pBlockHostList, {"b.example", ".c.example"});
    FillList(g_pBlockURLList, {"a.example/other"});
    FillList(g_pAllowHostList, {"d.example"});
    static char s_Patterns[2][PATTERN_BYTES] = {"*e.example/", "a.example/other"};
    static tagAddrRange s_Range = {0xCB007100, htonl(0xFFFFFF00)};
    g_ExclusionPatterns = g_TrustedURLPatterns = {2, s_Patterns};
    g_ExcludedRanges = {1, &s_Range};
    static int s_nScans = 0;
    g_bURLScannerLoaded = 1;
    g_pfnScanURLForAPSH = [](const char*) { return ++s_nScans, 0; };
    g_pfnScanURLForBP = [](const char*, char*) { return ++s_nScans, 0; };

    const auto message = fake_kernel::QueueMessage(
        5, ComposePacket({.payload = "GET /p HTTP/1.1\r\nHost: a.example\r\n\r\n"}));
    static tagPacketSlot s_Slot, s_Taken;
    s_Slot.nMessageLen = static_cast<uint32_t>(message.size());
    std::memcpy(s_Slot.message, message.data(), message.size());
    PacketStoreInit(g_PacketStore);

    const size_t nBefore = g_nAllocations;
    tagPacketInfo info{};
    const int nPushed = PacketStorePush(g_PacketStore, s_Slot);
    const int nTaken = PacketStorePop(g_PacketStore, s_Taken);
    const int nRun = RunQueueMessages(s_Taken.message, s_Taken.nMessageLen, 0, OnQueuePacket, &info);
    const size_t nAfter = g_nAllocations;

    EXPECT_GT(nBefore, 0u) << "allocations are not seen";
    EXPECT_EQ(nAfter, nBefore);
    EXPECT_EQ(nPushed | nTaken | nRun, 0);
    EXPECT_EQ(info.nVerdict, NF_ACCEPT);
    EXPECT_EQ(s_nScans, 2) << "the packet did not get as far as the checks";

    g_ExclusionPatterns = g_TrustedURLPatterns = {};
    g_ExcludedRanges = {};
    g_bURLScannerLoaded = 0;
}

}  // namespace
