// The rule watchdog: a thread that puts back, every 60 seconds, whichever firewall rule has gone missing.
#pragma once

#include <pthread.h>

#include <cstdint>

constexpr int RULE_WATCHDOG_SECONDS = 60;

// mutex is held for every rule pass, by the watchdog and by whoever rebuilds the rules beside it; it guards
// g_ServiceConfig and bStop.
struct tagRuleWatchdog {
    pthread_t thread;  // valid while nLife is not THREAD_NONE
    pthread_mutex_t mutex;
    pthread_cond_t condition;
    uint8_t bStop;   // 1: the watchdog is to end before its next wait
    uint8_t bReady;  // 1: mutex and condition are initialised
    uint8_t nLife;   // THREAD_*
};

extern tagRuleWatchdog g_RuleWatchdog;

// Starts the watchdog with the control signals (SIGHUP, SIGUSR2, SIGTERM) blocked, for its thread and, while
// it starts, for the caller, so that no handler meets a half-made record. Its first pass runs at once.
// 0 or an error number. Main thread.
int StartRuleWatchdog();

// Takes and gives back the watchdog's mutex for rule work beside it; nothing to take while no watchdog was
// ever started. Main thread.
void LockRuleWork();
void UnlockRuleWork();

// Asks the watchdog to end, waits for the pass that it may be in, joins it and destroys its mutex and
// condition. Safe when it never started or was stopped. Returns 0. Main thread, also from a signal handler.
int StopRuleWatchdog();
