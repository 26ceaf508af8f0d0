// What a test and a program that was started with the failing_memory library share: a page of a file, named
// in the environment of the program by FAILING_MEMORY_FILE, through which the test lets requests for memory
// fail. All zero: none fails, all are counted.
#pragma once

#include <atomic>
#include <cstdint>

struct tagFailingMemory {
    std::atomic<uint64_t> nAsked;  // requests so far; set to 0 to count anew
    std::atomic<uint64_t> nFirst;  // the first one that fails, counted from 1; 0: none
    std::atomic<uint64_t> nLast;   // the last one
};
