// The shared page between a daemon's counters and their reader.
#include "ctl/traffic_page.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace {

constexpr uint64_t ROUNDS = 100000;

// Counts in a process of its own, as the daemon does.
[[noreturn]] void CountAndExit(const std::string& file) {
    if (ShareTrafficCounters(file.c_str()) != 0) _exit(1);
    for (uint64_t i = 0; i < ROUNDS; ++i)
        CountTraffic(COUNT_PACKETS);
    CountTraffic(COUNT_BLOCKED_HARMFUL, 7);
    _exit(0);
}

TEST(TrafficPage, ReadsWhatAnotherProcessCounts) {
    const std::string file = testing::TempDir() + "counters." + std::to_string(getpid());
    std::ofstream(file) << "stale";
    const pid_t child = fork();
    if (child == 0) CountAndExit(file);
    int nStatus = -1;
    ASSERT_EQ(waitpid(child, &nStatus, 0), child);
    ASSERT_EQ(nStatus, 0);

    EXPECT_FALSE(TrafficPage::Open(file.c_str(), child + 1)) << "the page of another daemon";
    const auto page = TrafficPage::Open(file.c_str(), child);
    ASSERT_TRUE(page);
    const tagTrafficReading reading = page->Read();
    EXPECT_EQ(reading[COUNT_PACKETS], ROUNDS);
    EXPECT_EQ(TrafficDocument(reading)["blocked"]["harmful"], 7);
    EXPECT_EQ(TrafficRows(reading)[1][1], "7 as harmful");

    std::filesystem::resize_file(file, 100);
    EXPECT_FALSE(TrafficPage::Open(file.c_str(), child)) << "cut short";
    EXPECT_NE(ShareTrafficCounters("/nonexistent/page"), 0);
    std::filesystem::remove(file);
}

}  // namespace
