// While one of these lives, its thread is not cancelled: without exceptions a cancelled thread skips the
// destructors and the closing lines of its frames, so whoever holds an open file across a read or a write
// holds one of these too.
#pragma once

#include <pthread.h>

class CancellationOff {
  public:
    CancellationOff() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_nBefore); }
    ~CancellationOff() { pthread_setcancelstate(m_nBefore, nullptr); }
    CancellationOff(const CancellationOff&) = delete;
    CancellationOff& operator=(const CancellationOff&) = delete;

  private:
    int m_nBefore;
};
