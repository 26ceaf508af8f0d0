#include "ctl/time_argument.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace {

constexpr int64_t NOW = 1'795'352'400;  // 2026-11-22 13:00:00 UTC

class TimeArgument : public testing::Test {
  protected:
    TimeArgument() {
        setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
        tzset();
    }
    ~TimeArgument() override {
        unsetenv("TZ");
        tzset();
    }
};

TEST_F(TimeArgument, IsReadAsLocalTimeOrAsSoLongAgo) {
    const std::pair<const char*, int64_t> rows[] = {{"2026-11-22 14:00", NOW},
                                                    {"2026-11-22T14:00", NOW},
                                                    {"2026-11-22 14:00:30", NOW + 30},
                                                    {"2026-11-22", NOW - 14 * 3600},
                                                    {"2026-07-01 14:00", 1'782'907'200},  // summer time
                                                    {"2028-02-29", 1'835'391'600},        // leap day
                                                    {"0s", NOW},
                                                    {"30m", NOW - 30 * 60},
                                                    {"2h", NOW - 2 * 3600},
                                                    {"3d", NOW - 3 * 86400},
                                                    {"1w", NOW - 7 * 86400}};
    for (const auto& [szText, nExpected] : rows)
        EXPECT_EQ(ReadTimeArgument(szText, NOW), nExpected) << szText;
    EXPECT_EQ(LocalTimeText(NOW), "2026-11-22 14:00:00");
}

TEST_F(TimeArgument, IsRefusedWhenItIsNone) {
    for (const char* szText : {"", "2026-02-30", "2026-13-01", "2026-11-22 24:00", "2026-11-22 14",
                               "2026-1-2", "2026-11-22 14:00 ", "2026-11-22  4:00", "1960-01-01", "2", "-2h",
                               "2hours", "2y", "4294967295w", "99999999999h"}) {
        EXPECT_EQ(ReadTimeArgument(szText, NOW), std::nullopt) << szText;
    }
}

}  // namespace
