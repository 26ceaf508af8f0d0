// Ending a long import in order: what was begun is taken back.
#pragma once

#include <signal.h>

#include <array>

// While it lives, SIGINT, SIGTERM and SIGHUP are only noted; who waits has to look for them.
class Interruptible {
  public:
    Interruptible();
    ~Interruptible();
    Interruptible(const Interruptible&) = delete;
    Interruptible& operator=(const Interruptible&) = delete;

  private:
    std::array<struct sigaction, 3> m_previous;
};

bool IsInterrupted();

// Throws CtlError when one of the signals has come.
void LeaveWhenInterrupted();
