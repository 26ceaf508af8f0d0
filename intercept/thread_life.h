// Whether a thread still runs. The C library answers pthread_kill(thread, 0) with 0 for a thread that has
// ended and was not joined yet, and must not be asked about a record that never held a thread, so each
// thread record carries this mark. Leaf header.
#pragma once

#include <atomic>
#include <cstdint>

enum : uint8_t {
    THREAD_NONE = 0,     // no thread: never started, or joined
    THREAD_RUNNING = 1,  // set by the starter before the thread is created
    THREAD_ENDED = 2,    // set by the thread as its last act; it still has to be joined
};

inline void SetThreadLife(uint8_t& nLife, uint8_t nNew) {
    std::atomic_ref<uint8_t>(nLife).store(nNew, std::memory_order_release);
}

inline uint8_t GetThreadLife(uint8_t& nLife) {
    return std::atomic_ref<uint8_t>(nLife).load(std::memory_order_acquire);
}
