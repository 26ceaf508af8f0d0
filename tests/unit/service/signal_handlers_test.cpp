// Reload and refresh with a product folder, a firewall, a settings store and a category engine that the test
// controls.
#include "service/signal_handlers.h"

#include <signal.h>

#include <cerrno>
#include <vector>

#include "category/category_engine.h"
#include "common/product_paths.h"
#include "intercept/iptables_rules.h"
#include "intercept/packet_store.h"
#include "intercept/worker_thread.h"
#include "policy/data_file_lists.h"
#include "policy/policy_state.h"
#include "policy/settings_load.h"
#include "report/report_module.h"
#include "service/read_config.h"
#include "service/service_config.h"
#include "tests/support/data_file_writer.h"
#include "tests/support/policy_fixture.h"
#include "tests/support/recording_popen.h"
#include "tests/unit/service/private_machine.h"

// Take the place of the engine binding in this program.
uint8_t g_bCTFunctionalityMode = 0;
tagWebCatMapping g_WebCatMapping = {0, nullptr};

namespace {

std::string g_Trace;               // what was done, a word each
std::vector<std::string> g_Rules;  // as they were inserted
tagClientSettingData g_Settings;
bool g_bSettingsFail;

// Notes one step, and whether workers or signals could get in between.
void Note(const char* szStep) {
    for (tagWorkerThread& worker : g_WorkerThreads) {
        if (worker.bLockReady) {
            if (pthread_mutex_trylock(&worker.lock) == EBUSY) continue;
            pthread_mutex_unlock(&worker.lock);
        }
        g_Trace += "WORKER-NOT-PAUSED ";
    }
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    for (const int nSignal : {SIGHUP, SIGUSR2, SIGTERM}) {
        if (!sigismember(&blocked, nSignal)) g_Trace += "SIGNAL-LET-IN ";
    }
    g_Trace += std::string(szStep) + " ";
}

uint8_t AnswerSettings(tagClientSettingData* pSettings, uint32_t*) {
    Note("load");
    *pSettings = g_Settings;
    return !g_bSettingsFail;
}

// A chain whose rules are all in or all out at the start of a pass.
recording_popen::tagAnswer Firewall(const std::string& command) {
    static bool s_bAllIn;
    if (command.find(" -L ") != command.npos) {
        if (g_Rules.empty() || g_Rules.size() == 3) s_bAllIn = !g_Rules.empty();
        return {s_bAllIn && !g_Rules.empty() ? "1" : "0", 0};
    }
    if (command.find(" -I ") != command.npos) {
        Note("insert");
        g_Rules.push_back(command);
    } else {
        Note("delete");
        g_Rules.pop_back();
    }
    return {"", 0};
}

void PutConfig(int nQueue, int nUseDefinedPorts) {
    PutFile(SERVICE_CONFIG_FILE, "[IPTABLEConfigurations]\nqueueNum=" + std::to_string(nQueue) +
                                     "\nUseDefinedPorts=" + std::to_string(nUseDefinedPorts) + "\n");
}

}  // namespace

int StartCategoryEngine() {
    Note("start");
    return 0;
}
void StopCategoryEngine() {
    Note("stop");
}
int PerformCacheRefresh() {
    Note("refresh");
    return 1;
}

namespace {

class SignalHandlers : public PolicyTest {
  protected:
    void SetUp() override {
        const std::string missing = EnterPrivateMachine();
        if (!missing.empty()) GTEST_SKIP() << missing;
        EmptyProductFolder();
        SetIptablesPlaces({"/sbin/iptables"});
        g_Settings = {};
        g_bSettingsFail = false;
        g_bReportModuleLoaded = 1;
        g_pfnGetClientAllSettingData = AnswerSettings;
        pthread_mutex_init(&g_PacketStoreLock, nullptr);
        sem_init(&g_PacketStoreSem, 0, 0);
        PacketStoreInit(g_PacketStore);
    }
    void TearDown() override {
        if (IsSkipped()) return;
        recording_popen::AnswerWith({});
        StopWorkerThreads();
        DestroyPacketStoreSync();
        FreeDataFileLists();
        g_bReportModuleLoaded = 0;
        g_pfnGetClientAllSettingData = nullptr;
        g_InetSettings = {};
        g_ServiceConfig = {};
        PolicyTest::TearDown();
    }
    // Brings the service to where it runs: configuration read, rules in.
    static void Start(int nUseDefinedPorts) {
        PutConfig(7, nUseDefinedPorts);
        PutFile(INET_OPTIONS_FILE, Inet(3128));
        ASSERT_EQ(ReadServiceConfig(), 0);
        g_Rules.clear();
        recording_popen::AnswerWith(Firewall);
        ManageIptableRules(RULE_ADD);
        ASSERT_EQ(g_Rules.size(), 3u);
        g_Trace.clear();
    }
    // Runs a handler as on the main thread; everybody is let go on behind it.
    static std::string TraceOf(void (*pfnHandler)(int)) {
        sigset_t before, after;
        pthread_sigmask(SIG_BLOCK, nullptr, &before);
        pfnHandler(0);
        pthread_sigmask(SIG_BLOCK, nullptr, &after);
        EXPECT_EQ(sigismember(&before, SIGHUP), sigismember(&after, SIGHUP));
        EXPECT_EQ(sigismember(&before, SIGTERM), sigismember(&after, SIGTERM));
        for (tagWorkerThread& worker : g_WorkerThreads) {
            EXPECT_EQ(pthread_mutex_lock(&worker.lock), 0);
            EXPECT_EQ(pthread_mutex_unlock(&worker.lock), 0);
        }
        return g_Trace;
    }
};

TEST_F(SignalHandlers, DoTheirStepsInOrder) {
    const char* const REBUILD = "load refresh stop delete delete delete insert insert insert start ";
    const struct {
        const char* szReason;
        void (*pfnHandler)(int);
        uint32_t nBrowsing;
        bool bSettingsFail;
        int nUseDefinedPorts;
        bool bOptionsChanged;
        const char* szTrace;
        bool bOptionsTaken;
    } rows[] = {
        {"2 is off: options are not looked at", OnReloadSignal, 2, false, 1, true, "load stop ", false},
        {"options unchanged", OnReloadSignal, 1, false, 1, false, "load refresh start ", false},
        {"no port lists", OnReloadSignal, 1, false, 0, true, "load refresh stop start ", true},
        {"options changed, port lists", OnReloadSignal, 1, false, 1, true, REBUILD, true},
        {"without settings those in force stay", OnReloadSignal, 0, true, 1, true, REBUILD, true},
        {"refresh, protected", OnRefreshSignal, 1, false, 1, true, "refresh stop start ", false},
        {"refresh, not protected", OnRefreshSignal, 0, false, 1, true, "refresh stop ", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szReason);
        SetUp();
        Start(row.nUseDefinedPorts);
        g_InetSettings.bUsePort = 1;
        g_InetSettings.nPort = 3128;
        g_Settings.nBrowsingProtection = row.nBrowsing;
        g_bSettingsFail = row.bSettingsFail;
        const bool bRefresh = row.pfnHandler == OnRefreshSignal;
        g_bBrowsingProtection = bRefresh ? static_cast<uint8_t>(row.nBrowsing) : 1;
        PutConfig(9, row.nUseDefinedPorts);
        PutFile(EXCLUSION_PATTERN_FILE, MakeDataFile(PatternBody({"a.example", "b.example"})));
        if (row.bOptionsChanged) PutFile(INET_OPTIONS_FILE, Inet(8888));

        EXPECT_EQ(TraceOf(row.pfnHandler), row.szTrace);
        EXPECT_EQ(g_ExclusionPatterns.nCount, bRefresh ? 2u : 0u) << "the tables are the refresh's alone";
        EXPECT_EQ(g_InetSettings.nPort, row.bOptionsTaken ? 8888 : 3128);
        EXPECT_EQ(g_ServiceConfig.nQueueNum, 7u) << "the receiver goes on with the queue it serves";
        for (const std::string& rule : g_Rules) {
            EXPECT_TRUE(rule.find("--queue-num 7") != rule.npos) << rule;
            EXPECT_EQ(rule.find(",8888 ") != rule.npos, row.szTrace == REBUILD) << rule;
        }
        TearDown();
    }
}

}  // namespace
