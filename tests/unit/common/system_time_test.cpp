#include "common/system_time.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(SystemTime, ConvertsThereAndBack) {
    struct tm calendar = {};
    calendar.tm_year = 124;
    calendar.tm_mon = 2;
    calendar.tm_mday = 5;
    calendar.tm_wday = 2;
    calendar.tm_hour = 23;
    calendar.tm_min = 59;
    calendar.tm_sec = 58;
    tagSYSTEMTIME time;
    std::memset(&time, 0xFF, sizeof(time));
    EXPECT_EQ(TmToSystemTime(&calendar, &time), &time);
    const tagSYSTEMTIME expected = {2024, 3, 2, 5, 23, 59, 58, 0};
    EXPECT_EQ(std::memcmp(&time, &expected, sizeof(time)), 0);

    struct tm back = {};
    back.tm_yday = 77;
    back.tm_isdst = -1;
    EXPECT_EQ(SystemTimeToTm(&time, &back), &back);
    calendar.tm_yday = 77;  // what a system time does not tell stays
    calendar.tm_isdst = -1;
    EXPECT_EQ(std::memcmp(&back, &calendar, sizeof(back)), 0);

    EXPECT_EQ(TmToSystemTime(nullptr, &time), nullptr);
    EXPECT_EQ(TmToSystemTime(&calendar, nullptr), nullptr);
    EXPECT_EQ(SystemTimeToTm(nullptr, &back), nullptr);
    EXPECT_EQ(SystemTimeToTm(&time, nullptr), nullptr);
}

TEST(SystemTime, TellsTheLocalTime) {
    const time_t before = std::time(nullptr);
    tagSYSTEMTIME now;
    ASSERT_EQ(GetLocalTime(&now), 1);
    struct tm calendar = {};
    calendar.tm_isdst = -1;
    const time_t told = std::mktime(SystemTimeToTm(&now, &calendar));
    EXPECT_GE(told, before);
    EXPECT_LE(told, std::time(nullptr));
    EXPECT_LT(now.wMilliseconds, 1000);
    EXPECT_EQ(GetLocalTime(nullptr), 0);
}

}  // namespace
