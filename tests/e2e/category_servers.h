// The category server, real and feigned, at the port where the daemon asks. One at a time.
#pragma once

#include <sys/types.h>

#include <thread>

// The installed websec-catserver, from the constructor until Stop or the end of its scope.
class Catserver {
  public:
    Catserver();
    ~Catserver();
    Catserver(const Catserver&) = delete;
    Catserver& operator=(const Catserver&) = delete;

  private:
    pid_t m_pid;
};

// A server to which everything is Games.
class FeignedCatserver {
  public:
    FeignedCatserver();
    ~FeignedCatserver();
    FeignedCatserver(const FeignedCatserver&) = delete;
    FeignedCatserver& operator=(const FeignedCatserver&) = delete;

  private:
    void Serve();

    int m_nListen;
    std::thread m_thread;
};
