// Work that goes on beside a test.
#pragma once

#include <unistd.h>

#include <atomic>
#include <thread>
#include <vector>

// Runs something again and again on threads of its own, with a pause between, until it goes out of scope.
class Background {
  public:
    template <class Step>
    Background(int nThreads, int nPauseMs, Step makeStep) {
        for (int nThread = 0; nThread < nThreads; ++nThread) {
            m_threads.emplace_back([this, nPauseMs, step = makeStep()]() mutable {
                while (!m_bStop) {
                    step();
                    usleep(static_cast<useconds_t>(nPauseMs * 1000));
                }
            });
        }
    }
    ~Background() {
        m_bStop = true;
        for (std::thread& thread : m_threads)
            thread.join();
    }
    Background(const Background&) = delete;
    Background& operator=(const Background&) = delete;

  private:
    std::atomic<bool> m_bStop = false;
    std::vector<std::thread> m_threads;
};
