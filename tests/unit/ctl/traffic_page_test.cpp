// The shared page between a daemon's counters and their reader.
#include "ctl/traffic_page.h"

#include <unistd.h>

#include "tests/unit/common/temp_folder.h"

TEST(TrafficPage, ReadsWhatIsCountedInThePage) {
    const TempFolder folder;
    const std::string file = folder.Put("counters", "stale");
    ASSERT_EQ(ShareTrafficCounters(file.c_str()), 0);
    EXPECT_FALSE(TrafficPage::Open(file.c_str(), getpid() + 1)) << "the page of another daemon";
    const auto page = TrafficPage::Open(file.c_str(), getpid());
    ASSERT_TRUE(page);
    for (auto& nCount : g_pTrafficCounters->counts)
        nCount = 0;
    CountTraffic(COUNT_PACKETS);
    CountTraffic(COUNT_BLOCKED_HARMFUL, 7);
    const tagTrafficReading reading = page->Read();
    EXPECT_EQ(reading[COUNT_PACKETS], 1u);
    EXPECT_EQ(TrafficDocument(reading)["blocked"]["harmful"], 7);
    EXPECT_EQ(TrafficRows(reading)[1][1], "7 as harmful");

    const std::string cut = folder.Put("cut", folder.Get("counters").substr(0, 100));
    EXPECT_FALSE(TrafficPage::Open(cut.c_str(), getpid()));
    EXPECT_NE(ShareTrafficCounters("/nonexistent/page"), 0);
}
