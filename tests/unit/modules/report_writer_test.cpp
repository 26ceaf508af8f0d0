#include "modules/shared_writer/report_writer.h"

#include <signal.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "tests/unit/modules/temp_store.h"

namespace {
class ReportWriterTest : public TempStoreTest {
  protected:
    void SetUp() override {
        TempStoreTest::SetUp();
        CreateStore();
    }
    int Queue(const std::string& url) {
        const ClientReportRecord record = ClientRecord(url.c_str());
        return QueueReport(m_writer.get(), REPORT_CLIENT, &record);
    }
    // And waits for a thread that got no processor in time, which would use a writer that is gone.
    void Stop(int nWaitMs = 30000) {
        StopReportWriter(m_writer.get(), nWaitMs);
        for (int n = 0; n < 30000 && m_writer->bStarted && std::atomic_ref(m_writer->bEnded) == 0; ++n)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    int64_t Lost() {
        int64_t nLost = -1;
        EXPECT_EQ(ReadLostReports(&m_store, &nLost), STORE_OK) << m_store.szError;
        return nLost;
    }
    // Runs what is given and answers how long it took, in milliseconds.
    template <class F>
    static int64_t Time(F run) {
        const auto start = std::chrono::steady_clock::now();
        run();
        return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start)
            .count();
    }

    std::unique_ptr<tagReportWriter> m_writer = std::make_unique<tagReportWriter>();
};

TEST_F(ReportWriterTest, ALockedStoreHoldsNobodyUpAndLosesNothing) {
    ASSERT_EQ(BeginStoreChange(&m_store), STORE_OK);
    EXPECT_LT(Time([this] {
                  for (int n = 0; n < 100; ++n)
                      EXPECT_EQ(Queue("a.example"), 1);
              }),
              3000)
        << "for each of them an attempt takes 200 ms";
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    ASSERT_EQ(EndStoreChange(&m_store, 1), STORE_OK);
    Stop();
    EXPECT_EQ(AllRows(&m_store).size(), 100u);
    EXPECT_EQ(Lost(), 0);
    EXPECT_EQ(Queue("late.example"), 0);
}

TEST_F(ReportWriterTest, CountsWhatAStoreThatStaysLockedCost) {
    ASSERT_EQ(BeginStoreChange(&m_store), STORE_OK);
    size_t nTaken = 0;
    for (size_t n = 0; n < REPORT_QUEUE_MAX + 10; ++n)
        nTaken += static_cast<size_t>(Queue("a.example"));
    EXPECT_EQ(nTaken, REPORT_QUEUE_MAX);
    EXPECT_LT(Time([this] { Stop(300); }), 6000);
    ASSERT_EQ(EndStoreChange(&m_store, 1), STORE_OK);
    EXPECT_TRUE(AllRows(&m_store).empty());
    EXPECT_EQ(Lost(), static_cast<int64_t>(REPORT_QUEUE_MAX) + 10);

    // The next writer takes the number into the store, once.
    m_writer = std::make_unique<tagReportWriter>();
    EXPECT_EQ(Queue("b.example"), 1);
    Stop();
    EXPECT_EQ(Lost(), static_cast<int64_t>(REPORT_QUEUE_MAX) + 10);
    EXPECT_EQ(std::filesystem::file_size(m_file + "-lost"), 0u);
}

TEST_F(ReportWriterTest, WaitsForAStoreThatComesBack) {
    CloseStore(&m_store);
    std::filesystem::rename(m_folder.Path("own"), m_folder.Path("away"));
    EXPECT_EQ(Queue("a.example"), 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(std::filesystem::exists(m_file)) << "a store of new settings would lift every block";
    std::filesystem::rename(m_folder.Path("away"), m_folder.Path("own"));
    Stop();
    CreateStore();
    EXPECT_EQ(AllRows(&m_store).size(), 1u);
}

TEST_F(ReportWriterTest, ItsThreadTakesNoSignals) {
    EXPECT_EQ(Queue("a.example"), 1);
    sigset_t before;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    EXPECT_FALSE(sigismember(&before, SIGUSR1)) << "the caller's own mask is given back";
    static volatile sig_atomic_t g_nTaken = 0;
    const auto previous = signal(SIGUSR1, [](int) { g_nTaken = 1; });
    pthread_kill(m_writer->thread, SIGUSR1);
    Stop();
    signal(SIGUSR1, previous);
    EXPECT_EQ(g_nTaken, 0);
}
}  // namespace
