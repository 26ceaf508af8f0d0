// The three signals that control the daemon. Every thread but the main thread keeps them blocked, so that
// their handlers always run on the main thread.
#pragma once

#include <csignal>
#include <initializer_list>

inline sigset_t ControlSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int nSignal : {SIGUSR2, SIGHUP, SIGTERM})
        sigaddset(&set, nSignal);
    return set;
}

// Blocks them in the calling thread; *pSaved gets the mask from before. 0 or an error number.
inline int BlockControlSignals(sigset_t* pSaved) {
    const sigset_t set = ControlSignals();
    return pthread_sigmask(SIG_BLOCK, &set, pSaved);
}
