#include "intercept/rule_watchdog.h"

#include <time.h>

#include <cerrno>

#include "common/control_signals.h"
#include "common/monotonic_ms.h"
#include "inspect/request_gathering.h"
#include "intercept/iptables_rules.h"
#include "intercept/thread_life.h"
#include "service/service_config.h"

tagRuleWatchdog g_RuleWatchdog;

namespace {
void* RuleWatchdogThread(void*) {
    tagRuleWatchdog& watchdog = g_RuleWatchdog;
    int nWaited = ETIMEDOUT;
    while (nWaited == ETIMEDOUT) {
        pthread_mutex_lock(&watchdog.mutex);
        if (!watchdog.bStop) (void)ManageIptableRules(RULE_ADD);
        if (g_bLiveTraffic == 1) AbandonOldRequests(MonotonicMs());
        // Not the time of day, which may be set back by hours.
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        const timespec deadline{now.tv_sec + RULE_WATCHDOG_SECONDS, 0};
        // The stop sets the flag under the mutex: it is seen here, or its signal meets the wait.
        nWaited = watchdog.bStop ? 0
                                 : pthread_cond_clockwait(&watchdog.condition, &watchdog.mutex,
                                                          CLOCK_MONOTONIC, &deadline);
        pthread_mutex_unlock(&watchdog.mutex);
    }
    SetThreadLife(watchdog.nLife, THREAD_ENDED);
    return nullptr;
}

int CreateWatchdog(tagRuleWatchdog& watchdog) {
    watchdog.bStop = 0;
    const int nMutex = pthread_mutex_init(&watchdog.mutex, nullptr);
    if (nMutex != 0) return nMutex;
    const int nCondition = pthread_cond_init(&watchdog.condition, nullptr);
    if (nCondition != 0) {
        pthread_mutex_destroy(&watchdog.mutex);
        return nCondition;
    }
    watchdog.bReady = 1;
    SetThreadLife(watchdog.nLife, THREAD_RUNNING);
    const int nCreated = pthread_create(&watchdog.thread, nullptr, RuleWatchdogThread, nullptr);
    if (nCreated != 0) SetThreadLife(watchdog.nLife, THREAD_NONE);
    return nCreated;
}
}  // namespace

int StartRuleWatchdog() {
    sigset_t saved;
    BlockControlSignals(&saved);
    const int nResult = CreateWatchdog(g_RuleWatchdog);
    pthread_sigmask(SIG_SETMASK, &saved, nullptr);
    return nResult;
}

void LockRuleWork() {
    if (g_RuleWatchdog.bReady) pthread_mutex_lock(&g_RuleWatchdog.mutex);
}

void UnlockRuleWork() {
    if (g_RuleWatchdog.bReady) pthread_mutex_unlock(&g_RuleWatchdog.mutex);
}

int StopRuleWatchdog() {
    tagRuleWatchdog& watchdog = g_RuleWatchdog;
    if (GetThreadLife(watchdog.nLife) != THREAD_NONE) {
        pthread_mutex_lock(&watchdog.mutex);
        watchdog.bStop = 1;
        pthread_cond_signal(&watchdog.condition);
        pthread_mutex_unlock(&watchdog.mutex);
        pthread_join(watchdog.thread, nullptr);
        SetThreadLife(watchdog.nLife, THREAD_NONE);
    }
    if (watchdog.bReady) {
        pthread_mutex_destroy(&watchdog.mutex);
        pthread_cond_destroy(&watchdog.condition);
        watchdog.bReady = 0;
    }
    return 0;
}
