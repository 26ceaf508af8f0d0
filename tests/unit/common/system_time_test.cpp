#include "common/system_time.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(SystemTime, ConvertsThereAndBack) {
    struct tm calendar = {};
    ASSERT_NE(strptime("2024-03-05 23:59:58", "%F %T", &calendar), nullptr);
    calendar.tm_yday = 77;
    tagSYSTEMTIME time;
    std::memset(&time, 0xFF, sizeof(time));
    EXPECT_EQ(TmToSystemTime(&calendar, &time), &time);
    const tagSYSTEMTIME expected = {2024, 3, 2, 5, 23, 59, 58, 0};
    EXPECT_EQ(std::memcmp(&time, &expected, sizeof(time)), 0);

    struct tm back = {};
    back.tm_yday = 77;
    back.tm_isdst = -1;
    EXPECT_EQ(SystemTimeToTm(&time, &back), &back);
    calendar.tm_isdst = -1;  // what a system time does not tell stays
    EXPECT_EQ(std::memcmp(&back, &calendar, sizeof(back)), 0);
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
}

}  // namespace
