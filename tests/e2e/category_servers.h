// The category server, real and feigned, at the port where the daemon asks. One at a time.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

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

// A server that does with a request what its URL asks for: "/hang" is taken and never answered, "/refused"
// gets status 1, "/long" a text of a million bytes that begins with Games, everything else Games.
class FeignedCatserver {
  public:
    FeignedCatserver();
    ~FeignedCatserver();
    FeignedCatserver(const FeignedCatserver&) = delete;
    FeignedCatserver& operator=(const FeignedCatserver&) = delete;

    // Requests that it has taken and keeps waiting.
    int Hanging() const { return m_nHanging; }

  private:
    void Serve();
    void Answer(int nSocket);

    int m_nListen;
    std::atomic<int> m_nHanging = 0;
    std::vector<int> m_hanging;
    std::thread m_thread;
};
