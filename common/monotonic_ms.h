// Time for deadlines: it only ever goes forward, whatever is done to the system's clock. Leaf header.
#pragma once

#include <time.h>

#include <cstdint>

// Milliseconds since some moment in the past, a tick of the kernel late at most. Any thread.
inline int64_t MonotonicMs() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}
