// For tests of the receiver and the workers against the stand-in for the kernel: an empty store and a
// receiver that is not started; afterwards all threads have ended.
#pragma once

#include "gtest/gtest.h"
#include "intercept/packet_store.h"
#include "intercept/receiver_thread.h"
#include "intercept/worker_thread.h"
#include "service/service_config.h"
#include "tests/support/fake_kernel_queue.h"

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

    tagQueueReceiver& receiver = g_QueueReceivers[0];
};
