// Calendar time in eight 16-bit numbers, as reports carry it. Part of the interface that plug-ins reach by
// name; keeps no state, any thread.
#pragma once

#include <cstdint>
#include <ctime>

#include "common/export.h"

struct tagSYSTEMTIME {
    uint16_t wYear;
    uint16_t wMonth;      // 1 to 12
    uint16_t wDayOfWeek;  // 0 is Sunday
    uint16_t wDay;        // 1 to 31
    uint16_t wHour;
    uint16_t wMinute;
    uint16_t wSecond;
    uint16_t wMilliseconds;
};
static_assert(sizeof(tagSYSTEMTIME) == 16);

extern "C" {

// Field by field, without normalising. Fields of the tm that have no counterpart are left as they were, the
// milliseconds of the system time are 0. Each gives its second argument, or null, changing nothing, when
// either is null.
WEBSEC_API struct tm* SystemTimeToTm(const tagSYSTEMTIME* systemTime, struct tm* calendar);
WEBSEC_API tagSYSTEMTIME* TmToSystemTime(const struct tm* calendar, tagSYSTEMTIME* systemTime);

// The local time now. Gives 1, or 0 for null or when the clock cannot be read.
WEBSEC_API int GetLocalTime(tagSYSTEMTIME* systemTime);
}
