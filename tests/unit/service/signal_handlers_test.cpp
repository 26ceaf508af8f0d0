// Reload and refresh with a product folder, a firewall, a settings store and a category engine that the test
// controls.
#include "service/signal_handlers.h"

#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <set>

#include "category/category_engine.h"
#include "common/product_paths.h"
#include "intercept/iptables_rules.h"
#include "intercept/packet_store.h"
#include "intercept/worker_thread.h"
#include "policy/data_file_lists.h"
#include "policy/settings_load.h"
#include "report/report_module.h"
#include "service/read_config.h"
#include "service/service_config.h"
#include "tests/support/data_file_writer.h"
#include "tests/support/policy_fixture.h"
#include "tests/support/recording_popen.h"
#include "tests/unit/service/private_machine.h"

// Take the place of the engine binding in this program.
uint8_t g_bUseCatServer = CATENGINE_LIBRARY;
uint8_t g_bCTFunctionalityMode = 0;
tagWebCatMapping g_WebCatMapping = {0, nullptr};

namespace {

std::string g_Trace;  // what was done, a word each
std::set<std::string> g_Rules;
tagClientSettingData g_Settings;
bool g_bSettingsFail;

// Notes one step, and whether workers or signals could get in between.
void Note(const char* szStep) {
    for (tagWorkerThread& worker : g_WorkerThreads) {
        if (pthread_mutex_trylock(&worker.lock) == EBUSY) continue;
        pthread_mutex_unlock(&worker.lock);
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

// A chain that holds whole rules.
recording_popen::tagAnswer Firewall(const std::string& command) {
    const auto behind = [&](const std::string& mark) {
        return command.substr(command.find(mark) + mark.size());
    };
    if (command.find(" -L ") != command.npos) {
        const std::string rest = behind("grep -i \""), key = rest.substr(0, rest.find('"'));
        const auto holdsKey = [&](const std::string& rule) { return rule.find(key) != rule.npos; };
        return {std::to_string(std::count_if(g_Rules.begin(), g_Rules.end(), holdsKey)), 0};
    }
    const std::string rule = behind(" -t mangle ");
    if (command.find(" -I ") != command.npos) return {"", g_Rules.insert(rule).second ? 0 : 1};
    return {"", g_Rules.erase(rule) == 1 ? 0 : 1};
}

recording_popen::tagAnswer NotedFirewall(const std::string& command) {
    if (command.find(" -I ") != command.npos) Note("insert");
    if (command.find(" -D ") != command.npos) Note("delete");
    return Firewall(command);
}

std::string InetOptions(uint16_t nPort) {
    tagInetSettings settings{};
    settings.bUsePort = 1;
    settings.nPort = nPort;
    return BytesOf(settings);
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
        PutFile(INET_OPTIONS_FILE, InetOptions(3128));
        ASSERT_EQ(ReadServiceConfig(), 0);
        g_Rules.clear();
        recording_popen::AnswerWith(Firewall);
        ManageIptableRules(RULE_ADD);
        ASSERT_EQ(g_Rules.size(), 3u);
        recording_popen::AnswerWith(NotedFirewall);
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

TEST_F(SignalHandlers, Reload) {
    const char* const REBUILD = "load refresh stop delete delete delete insert insert insert start ";
    const struct {
        const char* szReason;
        uint32_t nBrowsing;
        bool bSettingsFail;
        int nUseDefinedPorts;
        const char* szNewOptions;  // "same", "changed", "gone"
        const char* szTrace;
        bool bOptionsTaken;
    } rows[] = {
        {"all protections off: options are not looked at", 0, false, 1, "changed", "load stop ", false},
        {"2 is off", 2, false, 1, "changed", "load stop ", false},
        {"options unchanged", 1, false, 1, "same", "load refresh start ", false},
        {"options gone", 1, false, 1, "gone", "load refresh start ", false},
        {"options changed, no port lists", 1, false, 0, "changed", "load refresh stop start ", true},
        {"options changed, port lists", 1, false, 1, "changed", REBUILD, true},
        {"settings cannot be fetched: those in force stay", 0, true, 1, "changed", REBUILD, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szReason);
        SetUp();
        Start(row.nUseDefinedPorts);
        g_InetSettings.bUsePort = 1;
        g_InetSettings.nPort = 3128;
        g_Settings.nBrowsingProtection = row.nBrowsing;
        g_bSettingsFail = row.bSettingsFail;
        if (row.bSettingsFail) g_bBrowsingProtection = 1;
        const auto rulesBefore = g_Rules;
        PutConfig(9, row.nUseDefinedPorts);
        const std::string_view options = row.szNewOptions;
        if (options == "changed") PutFile(INET_OPTIONS_FILE, InetOptions(8888));
        if (options == "gone") EmptyProductFolder();

        EXPECT_EQ(TraceOf(OnReloadSignal), row.szTrace);
        EXPECT_EQ(g_InetSettings.nPort, row.bOptionsTaken ? 8888 : 3128);
        EXPECT_EQ(g_ServiceConfig.nQueueNum, 7u) << "the receiver goes on with the queue it serves";
        EXPECT_EQ(g_Rules != rulesBefore, row.szTrace == REBUILD);
        for (const std::string& rule : g_Rules) {
            EXPECT_TRUE(rule.find("--queue-num 7") != rule.npos) << rule;
            EXPECT_EQ(rule.find(",8888 ") != rule.npos, row.szTrace == REBUILD) << rule;
        }
        TearDown();
    }
}

TEST_F(SignalHandlers, RefreshRenewsEngineAndTablesAndNothingElse) {
    for (const uint8_t bProtection : {1, 0}) {
        SetUp();
        Start(1);
        PutFile(EXCLUSION_PATTERN_FILE, MakeDataFile(PatternBody({"old.example"})));
        LoadDataFileLists();
        PutFile(EXCLUSION_PATTERN_FILE, MakeDataFile(PatternBody({"a.example", "b.example"})));
        PutFile(INET_OPTIONS_FILE, InetOptions(8888));
        g_Settings.nBrowsingProtection = 1 - bProtection;  // would be seen if it were loaded
        g_bBrowsingProtection = bProtection;
        FillList(g_pBlockHostList, {"kept.example"});

        EXPECT_EQ(TraceOf(OnRefreshSignal), bProtection ? "refresh stop start " : "refresh stop ");
        EXPECT_EQ(g_ExclusionPatterns.nCount, 2u);
        EXPECT_EQ(g_bBrowsingProtection, bProtection);
        EXPECT_EQ(TextsOf(g_pBlockHostList), std::vector<std::string>{"kept.example"});
        EXPECT_NE(g_InetSettings.nPort, 8888);

        PutFile(EXCLUSION_PATTERN_FILE, MakeDataFile(PatternBody({"c.example"})));
        OnReloadSignal(0);
        EXPECT_EQ(g_ExclusionPatterns.nCount, 2u) << "a reload leaves the tables alone";
        TearDown();
    }
}

}  // namespace
