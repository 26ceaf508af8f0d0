#include "policy/addr_match.h"

#include <pthread.h>

#include <string>
#include <vector>

#include "policy/client_settings.h"
#include "policy/worker_pause_hook.h"
#include "report/report_module.h"
#include "service/service_config.h"
#include "tests/support/policy_fixture.h"

namespace {

using Texts = std::vector<std::string>;

// What happened around the settings load, in order.
Texts g_Steps;

void NoteStep(const char* szStep) {
    int nState = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &nState);
    pthread_setcancelstate(nState, nullptr);
    g_Steps.push_back(szStep + std::string(nState == PTHREAD_CANCEL_DISABLE ? "" : ", could be cancelled"));
}

uint8_t AnswerOneAddress(tagClientSettingData* pSettings, uint32_t*) {
    NoteStep("load");
    pSettings->nCustomBlockList = 1;
    AppendElement(pSettings->vecBlockList)->wszText[0] = u'1';
    std::char_traits<char16_t>::copy(pSettings->vecBlockList.pFirst->wszText, u"10.9.9.9", 8);
    return true;
}

class AddrMatchTest : public PolicyTest {
  protected:
    void SetUp() override {
        g_Steps.clear();
        g_bReportModuleLoaded = 1;
        g_pfnGetClientAllSettingData = AnswerOneAddress;
        g_pfnPauseWorkersFromWorker = [] { NoteStep("pause"); };
        g_pfnResumeWorkersFromWorker = [] { NoteStep("resume"); };
    }
    void TearDown() override {
        g_bReportModuleLoaded = 0;
        g_pfnGetClientAllSettingData = nullptr;
        g_pfnPauseWorkersFromWorker = g_pfnResumeWorkersFromWorker = nullptr;
        PolicyTest::TearDown();
    }
};

tagWebRequest Request(uint8_t nProtocol, std::string_view checkURL, uint8_t bAllowListPass = 0) {
    tagWebRequest request = {};
    request.nProtocol = nProtocol;
    request.bAllowListPass = bAllowListPass;
    CopyText(request.szCheckURL, checkURL);
    return request;
}

TEST_F(AddrMatchTest, FTPByContainmentOthersWhole) {
    g_bFirstFTPAddrMatch = 0;
    FillList(g_pBlockAddrList, {"10.0.0.1", "10.0.0.2/Pub"});
    FillList(g_pAllowAddrList, {"10.0.0.3"});
    const struct {
        uint8_t nProtocol;
        const char* szCheckURL;
        uint8_t bAllow;
        uint32_t nExpected;
    } rows[] = {
        {PROTO_HTTP, "10.0.0.1", 0, RESULT_BLOCK_HOST},
        {PROTO_HTTP, "10.0.0.1/index.html", 0, RESULT_NONE},
        {PROTO_HTTP, "10.0.0.10", 0, RESULT_NONE},
        {PROTO_HTTPS, "10.0.0.2/pUB", 0, RESULT_BLOCK_HOST},
        {PROTO_FTP, "10.0.0.10/x", 0, RESULT_BLOCK_HOST},
        {PROTO_FTP, "x10.0.0.2/puB/y", 0, RESULT_BLOCK_HOST},
        {PROTO_FTP, "10.0.0.2", 0, RESULT_NONE},
        {PROTO_HTTP, "10.0.0.3", 1, RESULT_ALLOW_HOST},
    };
    for (const auto& row : rows) {
        tagWebRequest request = Request(row.nProtocol, row.szCheckURL, row.bAllow);
        EXPECT_EQ(MatchAddrList(&request), 0);
        EXPECT_EQ(request.nResult, row.nExpected) << row.szCheckURL;
    }
    EXPECT_EQ(g_Steps, Texts{});
}

TEST_F(AddrMatchTest, TheFirstFTPRequestLoadsTheSettingsOnce) {
    FillList(g_pBlockAddrList, {"10.0.0.1"});
    tagWebRequest http = Request(PROTO_HTTP, "10.0.0.1");
    (void)MatchAddrList(&http);
    EXPECT_EQ(g_Steps, Texts{}) << "only FTP requests ask for it";

    tagWebRequest first = Request(PROTO_FTP, "10.9.9.9/pub");
    (void)MatchAddrList(&first);
    EXPECT_EQ(g_Steps, (Texts{"pause", "load", "resume"}));
    EXPECT_EQ(first.nResult, RESULT_BLOCK_HOST) << "the new list decides";
    EXPECT_EQ(g_bFirstFTPAddrMatch, 0);

    tagWebRequest later = Request(PROTO_FTP, "10.0.0.1/pub");
    (void)MatchAddrList(&later);
    EXPECT_EQ(g_Steps.size(), 3u);
    EXPECT_EQ(later.nResult, RESULT_NONE);

    int nState = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &nState);
    EXPECT_EQ(nState, PTHREAD_CANCEL_ENABLE);
}

// With live traffic the workers are kept out only while the policy is exchanged.
TEST_F(AddrMatchTest, LiveTrafficLoadsBesideTheOtherWorkers) {
    g_bLiveTraffic = 1;
    tagWebRequest first = Request(PROTO_FTP, "10.9.9.9/pub");
    (void)MatchAddrList(&first);
    (void)MatchAddrList(&first);
    g_bLiveTraffic = 0;
    EXPECT_EQ(g_Steps, (Texts{"load", "pause", "resume"}));
    EXPECT_EQ(first.nResult, RESULT_BLOCK_HOST);
}

TEST_F(AddrMatchTest, AWorkerThatComesSecondDoesNotLoadAgain) {
    g_pfnPauseWorkersFromWorker = [] {
        NoteStep("pause");
        g_bFirstFTPAddrMatch = 0;  // another worker, while this one waited for the locks
    };
    tagWebRequest request = Request(PROTO_FTP, "10.9.9.9");
    (void)MatchAddrList(&request);
    EXPECT_EQ(g_Steps, (Texts{"pause", "resume"}));
}

}  // namespace
