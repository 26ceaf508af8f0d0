#include "service/signal_handlers.h"

#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "category/category_engine.h"
#include "common/control_signals.h"
#include "common/product_paths.h"
#include "common/profile.h"
#include "intercept/iptables_rules.h"
#include "intercept/packet_store.h"
#include "intercept/receiver_thread.h"
#include "intercept/rule_watchdog.h"
#include "intercept/worker_pause.h"
#include "intercept/worker_thread.h"
#include "policy/ask_names.h"
#include "policy/data_file_lists.h"
#include "policy/list_entry.h"
#include "policy/policy_state.h"
#include "policy/settings_load.h"
#include "report/report_module.h"
#include "service/daemon_note.h"
#include "service/inet_options.h"
#include "service/read_config.h"
#include "service/service_config.h"
#include "service/startup.h"

namespace {
// The rules may still be there, and nobody reads the queue any more.
void EndAsItStands(int) {
    alarm(JOIN_SECONDS);
    (void)ManageIptableRules(RULE_REMOVE);
    _exit(0);
}

bool IsAnyProtectionOn() {
    return g_bBrowsingProtection == 1 || g_bPhishingProtection == 1 || g_bWebCategoryFilter == 1;
}

// One that failed at the start gets another chance.
void RetryReportModule() {
    if (g_bReportModuleLoaded == 1 || !PauseWorkers()) return;
    LoadReportModule();
    ResumeWorkers();
}

// With the switches of the policy that has come in force.
void RestartProtection() {
    if (!IsAnyProtectionOn()) return StopCategoryEngine();
    (void)PerformCacheRefresh();
    (void)ReloadInetOptionsAndRules();
    (void)StartCategoryEngine();
}

bool UsesDefinedPorts() {
    unsigned int nError = 0;
    const int nValue =
        GetPrivateProfileInt("IPTABLEConfigurations", "UseDefinedPorts", 0, SERVICE_CONFIG_FILE, &nError);
    return nError == 0 && static_cast<uint8_t>(nValue) != 0;
}
}  // namespace

void OnReloadSignal(int) {
    sigset_t saved;
    BlockControlSignals(&saved);
    // With live traffic the workers go on while the policy is made.
    const bool bBeside = g_bLiveTraffic == 1;
    if (bBeside) RetryReportModule();
    tagPolicy policy = {};
    if (bBeside) (void)MakePolicy(policy);
    if (PauseWorkers()) {
        if (!bBeside) (void)MakePolicy(policy);
        PutPolicyInForce(policy);
        RestartProtection();
        ResumeWorkers();
    }
    FreePolicy(policy);
    (void)WriteDaemonNote();
    pthread_sigmask(SIG_SETMASK, &saved, nullptr);
}

void OnRefreshSignal(int) {
    sigset_t saved;
    BlockControlSignals(&saved);
    if (PauseWorkers()) {
        (void)PerformCacheRefresh();
        FreeDataFileLists();
        LoadDataFileLists();
        StopCategoryEngine();
        if (IsAnyProtectionOn()) (void)StartCategoryEngine();
        ResumeWorkers();
    }
    pthread_sigmask(SIG_SETMASK, &saved, nullptr);
}

void OnStopSignal(int) {
    // A reload must not start in what is being torn down.
    sigset_t saved;
    BlockControlSignals(&saved);
    StopAsking();
    (void)StopRuleWatchdog();
    (void)ManageIptableRules(RULE_REMOVE);
    LimitJoins();
    StopQueueReceivers();
    StopWorkerThreads();
    LiftLimit();
    DestroyPacketStoreSync();
    StopRunningCategoryEngine();
    UnloadReportModule();
    FreePolicyLists();
    FreeDataFileLists();
    std::exit(0);
}

void LimitJoins() {
    struct sigaction action = {};
    action.sa_handler = EndAsItStands;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);  // the next one ends the process
    (void)sigaction(SIGALRM, &action, nullptr);
    alarm(JOIN_SECONDS);
}

void LiftLimit() {
    alarm(0);
}

int ReloadInetOptionsAndRules() {
    uint8_t bChanged = 0;
    if (CheckInetOptionsChange(&g_InetSettings, &bChanged) != 0 || !bChanged) return 0;
    StopCategoryEngine();
    if (!UsesDefinedPorts()) return 0;

    LockRuleWork();
    (void)ManageIptableRules(RULE_REMOVE);
    const uint32_t nServedQueue = g_ServiceConfig.nQueueNum;
    (void)ReadServiceConfig();
    g_ServiceConfig.nQueueNum = nServedQueue;
    (void)WriteDaemonNote();
    (void)ManageIptableRules(RULE_ADD);
    UnlockRuleWork();
    return 0;
}
