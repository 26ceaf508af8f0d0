#include "common/system_time.h"

#include <sys/time.h>

struct tm* SystemTimeToTm(const tagSYSTEMTIME* systemTime, struct tm* calendar) {
    if (!systemTime || !calendar) return nullptr;
    calendar->tm_year = systemTime->wYear - 1900;
    calendar->tm_mon = systemTime->wMonth - 1;
    calendar->tm_wday = systemTime->wDayOfWeek;
    calendar->tm_mday = systemTime->wDay;
    calendar->tm_hour = systemTime->wHour;
    calendar->tm_min = systemTime->wMinute;
    calendar->tm_sec = systemTime->wSecond;
    return calendar;
}

tagSYSTEMTIME* TmToSystemTime(const struct tm* calendar, tagSYSTEMTIME* systemTime) {
    if (!calendar || !systemTime) return nullptr;
    systemTime->wYear = static_cast<uint16_t>(calendar->tm_year + 1900);
    systemTime->wMonth = static_cast<uint16_t>(calendar->tm_mon + 1);
    systemTime->wDayOfWeek = static_cast<uint16_t>(calendar->tm_wday);
    systemTime->wDay = static_cast<uint16_t>(calendar->tm_mday);
    systemTime->wHour = static_cast<uint16_t>(calendar->tm_hour);
    systemTime->wMinute = static_cast<uint16_t>(calendar->tm_min);
    systemTime->wSecond = static_cast<uint16_t>(calendar->tm_sec);
    systemTime->wMilliseconds = 0;
    return systemTime;
}

int GetLocalTime(tagSYSTEMTIME* systemTime) {
    struct timeval now;
    struct tm calendar;
    if (!systemTime || gettimeofday(&now, nullptr) != 0 || !localtime_r(&now.tv_sec, &calendar)) return 0;
    TmToSystemTime(&calendar, systemTime);
    systemTime->wMilliseconds = static_cast<uint16_t>(now.tv_usec / 1000);
    return 1;
}
