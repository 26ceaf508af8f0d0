// Another program that owns the daemon's queue and lets everything pass.
#pragma once

#include <sys/types.h>

class QueueTaker {
  public:
    static constexpr char NAME[] = "other-filter";

    QueueTaker();  // returns once the queue is taken
    ~QueueTaker();
    QueueTaker(const QueueTaker&) = delete;
    QueueTaker& operator=(const QueueTaker&) = delete;

    pid_t Pid() const { return m_pid; }

  private:
    pid_t m_pid;
};
