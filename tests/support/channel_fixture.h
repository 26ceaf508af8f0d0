// For tests of the receiver and the workers against the stand-in for the kernel: an empty store and a
// receiver that is not started; afterwards all threads have ended.
#pragma once

#include "gtest/gtest.h"
#include "intercept/packet_store.h"
#include "intercept/receiver_thread.h"
#include "intercept/worker_pause.h"
#include "intercept/worker_thread.h"
#include "service/service_config.h"
#include "tests/support/fake_kernel_queue.h"
#include "tests/support/packet_composer.h"

class ChannelTest : public testing::Test {
  protected:
    void SetUp() override {
        fake_kernel::Reset();
        pthread_mutex_init(&g_PacketStoreLock, nullptr);
        sem_init(&g_PacketStoreSem, 0, 0);
        PacketStoreInit(g_PacketStore);
        receiver = {};
    }
    void TearDown() override {
        StopQueueReceivers();
        StopWorkerThreads();
        DestroyPacketStoreSync();
        fake_kernel::Reset();
        g_bLiveTraffic = 0;
    }
    void StartAll() {
        ASSERT_EQ(StartQueueReceiver(receiver), 0);
        ASSERT_EQ(StartAllWorkers(), 0);
    }

    // A request of a connection of its own.
    static void DeliverRequest(uint32_t nId, const std::string& host = "a.example") {
        const std::string request = "GET / HTTP/1.1\r\nHost: " + host + "\r\n\r\n";
        fake_kernel::Deliver(fake_kernel::QueueMessage(
            nId, ComposePacket({.nSrcPort = static_cast<uint16_t>(nId), .payload = request})));
    }
    static void ExpectVerdict(uint32_t nPacketId, uint32_t nVerdict, uint32_t nMark = 0) {
        const auto verdict = fake_kernel::NextVerdict();
        ASSERT_TRUE(verdict) << nPacketId;
        EXPECT_EQ(verdict->nPacketId, nPacketId);
        EXPECT_EQ(verdict->nVerdict, nVerdict) << nPacketId;
        EXPECT_EQ(verdict->nMark, nMark) << nPacketId;
    }

    tagQueueReceiver& receiver = g_QueueReceivers[0];
};
