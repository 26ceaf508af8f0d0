#include "service/startup.h"

#include <execinfo.h>

#include <csignal>
#include <span>

#include "category/category_engine.h"
#include "category/translate.h"
#include "common/control_signals.h"
#include "common/product_paths.h"
#include "common/profile.h"
#include "intercept/iptables_rules.h"
#include "intercept/packet_store.h"
#include "intercept/receiver_thread.h"
#include "intercept/rule_watchdog.h"
#include "intercept/worker_pause.h"
#include "intercept/worker_thread.h"
#include "policy/data_file_lists.h"
#include "policy/list_entry.h"
#include "policy/policy_state.h"
#include "policy/settings_load.h"
#include "policy/worker_pause_hook.h"
#include "report/report_module.h"
#include "report/session_user.h"
#include "service/daemon_note.h"
#include "service/daemonize.h"
#include "service/read_config.h"
#include "service/service_config.h"
#include "service/signal_handlers.h"

namespace {
using CleanupStep = void (*)();

void RemoveRules() {
    (void)ManageIptableRules(RULE_REMOVE);
}
void StopWatchdog() {
    (void)StopRuleWatchdog();
}
void DestroyStoreLock() {
    pthread_mutex_destroy(&g_PacketStoreLock);
}
void StopLibraryEngine();

// What each way out takes down, in this order.
constexpr CleanupStep NO_STORE_LOCK[] = {StopRunningCategoryEngine, UnloadReportModule, FreeDataFileLists,
                                         FreePolicyLists};
constexpr CleanupStep NO_STORE_SEMAPHORE[] = {StopRunningCategoryEngine, UnloadReportModule,
                                              FreeDataFileLists, FreePolicyLists, DestroyStoreLock};
constexpr CleanupStep NO_RECEIVER[] = {StopRunningCategoryEngine, UnloadReportModule, FreeDataFileLists,
                                       DestroyPacketStoreSync, FreePolicyLists};
constexpr CleanupStep NO_WORKER[] = {StopQueueReceivers, StopRunningCategoryEngine, UnloadReportModule,
                                     FreeDataFileLists,  DestroyPacketStoreSync,    FreePolicyLists};
constexpr CleanupStep NO_SIGNALS[] = {
    RemoveRules,     StopQueueReceivers, StopWorkerThreads, DestroyPacketStoreSync,
    FreePolicyLists, FreeDataFileLists,  UnloadReportModule};
constexpr CleanupStep RECEIVER_ENDED[] = {JoinQueueReceivers, StopWatchdog,       LimitJoins,
                                          StopWorkerThreads,  LiftLimit,          DestroyPacketStoreSync,
                                          RemoveRules,        UnloadReportModule, FreeDataFileLists,
                                          FreePolicyLists,    StopLibraryEngine};

int Leave(std::span<const CleanupStep> steps, int nStatus);
int InstallHandlers();
void PrepareCancellation();
void LoadPolicy();
bool StartReceivers();
int StartInterception(const sigset_t& saved);
}  // namespace

int RunService() {
    const int nDetached = DaemonizeProcess();
    if (nDetached != 0) return nDetached;
    const sigset_t control = ControlSignals();
    sigset_t saved;
    if (sigprocmask(SIG_BLOCK, &control, &saved) != 0) return -1;
    if (InstallHandlers() != 0) return -1;
    PrepareCancellation();
    if (ReadServiceConfig() != 0) return -1;
    ReadLiveTraffic();

    LoadPolicy();
    const int nStarted = StartInterception(saved);
    if (nStarted != 0) return nStarted;

    (void)StartRuleWatchdog();
    AwaitQueueReceivers();
    (void)sigprocmask(SIG_BLOCK, &control, nullptr);
    return Leave(RECEIVER_ENDED, 0);
}

void StopRunningCategoryEngine() {
    if (g_bCTFunctionalityMode == 1) StopLibraryEngine();
}

namespace {
void StopLibraryEngine() {
    if (UsesEngineLibrary()) StopCategoryEngine();
}

int Leave(std::span<const CleanupStep> steps, int nStatus) {
    for (const CleanupStep step : steps)
        step();
    return nStatus;
}

int InstallHandlers() {
    // A starter that ignores SIGCHLD would make every exit status of iptables unknown.
    if (signal(SIGCHLD, SIG_DFL) == SIG_ERR) return -1;
    if (signal(SIGHUP, OnReloadSignal) == SIG_ERR) return -1;
    if (signal(SIGUSR2, OnRefreshSignal) == SIG_ERR) return -1;
    return signal(SIGTERM, OnStopSignal) == SIG_ERR ? -1 : 0;
}

// The first cancellation of a thread loads the unwinder, and aborts the process when memory has run out by
// then. backtrace needs the same one.
void PrepareCancellation() {
    void* pFrame = nullptr;
    (void)backtrace(&pFrame, 1);
}

// None of this may keep the service from starting: what cannot be loaded stays off. The settings come
// through the report module, so it goes first.
void LoadPolicy() {
    g_bUseCatServer = ReadCategoryMode();
    (void)StartCategoryEngine();
    LoadReportModule();
    (void)LoadPolicySettings();
    if (g_bPhishingProtection == 0 && g_bBrowsingProtection == 0 && g_bWebCategoryFilter == 0) {
        StopCategoryEngine();
    }
    LoadDataFileLists();
    (void)TranslateText("Blocked");  // sets the locale up while this thread is the only one
    (void)GetSessionUser(g_szSessionUser, sizeof g_szSessionUser);
}

// From the packet store to the firewall rules; lets the control signals in at the end. 0, or the exit status
// with everything taken down again.
int StartInterception(const sigset_t& saved) {
    const int nLock = pthread_mutex_init(&g_PacketStoreLock, nullptr);
    if (nLock != 0) return Leave(NO_STORE_LOCK, nLock);
    if (sem_init(&g_PacketStoreSem, 0, 0) != 0) return Leave(NO_STORE_SEMAPHORE, -1);
    (void)PacketStoreInit(g_PacketStore);
    g_pfnPauseWorkersFromWorker = PauseOtherWorkers;
    g_pfnResumeWorkersFromWorker = ResumeOtherWorkers;

    if (!StartReceivers()) return Leave(NO_RECEIVER, -1);
    if (StartAllWorkers() == NUM_WORKER_THREADS) return Leave(NO_WORKER, -1);
    RemoveLeftChains();
    (void)WriteDaemonNote();
    (void)ManageIptableRules(RULE_ADD);
    if (sigprocmask(SIG_SETMASK, &saved, nullptr) != 0) return Leave(NO_SIGNALS, -1);
    return 0;
}

// False when none started.
bool StartReceivers() {
    int nFailed = 0;
    uint32_t nQueueNum = g_ServiceConfig.nQueueNum;
    for (tagQueueReceiver& receiver : g_QueueReceivers) {
        receiver = {};
        receiver.nQueueNum = nQueueNum++;
        if (StartQueueReceiver(receiver) != 0) ++nFailed;
    }
    return nFailed < NUM_QUEUE_RECEIVERS;
}

}  // namespace
