// The category server at the port where the daemon asks. One at a time.
#pragma once

#include <sys/types.h>

// The installed websec-catserver, from the constructor to the end of its scope.
class Catserver {
  public:
    Catserver();
    ~Catserver();
    Catserver(const Catserver&) = delete;
    Catserver& operator=(const Catserver&) = delete;

  private:
    pid_t m_pid;
};
