#include "catserver/category_server.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "category/category_server_protocol.h"
#include "category/category_table.h"
#include "catserver/connections.h"
#include "tests/support/scripted_server.h"
#include "tests/unit/catserver/running_catserver.h"
#include "tests/unit/modules/list_folder.h"

using namespace std::chrono_literals;

namespace {

constexpr auto NOW = 1900ms;  // before a connection's time is up
constexpr auto IN_TIME = 30s;

std::string Request(std::string_view szURL) {
    CategoryRequest request = {};
    std::copy(std::begin(CATSERVER_WORDS), std::end(CATSERVER_WORDS), request.nWords);
    szURL.copy(request.szURL, sizeof request.szURL);
    return std::string(reinterpret_cast<const char*>(&request), sizeof request);
}

std::string Reply(std::string_view szText) {
    const CategoryReply head = {CATSERVER_STATUS_OK, szText.size()};
    return std::string(reinterpret_cast<const char*>(&head), sizeof head).append(szText);
}

const std::string REFUSAL("\1\0\0\0", 4);

using CategoryServer = ListFolderTest;

TEST_F(CategoryServer, AnswersFromTheLists) {
    WriteCategoryList(
        {{"bets.example", 51}, {"mixed.example", 51}, {"mixed.example", 3}, {"odd.example", 77}});
    RunningCatserver server(m_folder.Path());
    EXPECT_EQ(server.Ask(Request("http://mixed.example/now")), Reply("51,3"));
    EXPECT_EQ(server.Ask(Request("https://www.bets.example/"), true), Reply("51")) << "says that this is all";
    EXPECT_EQ(server.Ask(Request("http://odd.example/")), Reply("0")) << "a number that is no category";
    EXPECT_EQ(server.Ask(Request("\xFF\xFE ://%%%")), Reply("0"));
    EXPECT_EQ(server.Ask(Request(std::string(CATSERVER_URL_BYTES - 1, 'a'))), Reply("0"));
    EXPECT_EQ(server.Stop(), 0);
}

TEST_F(CategoryServer, RefusesWhatIsNoRequest) {
    WriteCategoryList({{"bets.example", 51}});
    const std::string good = Request("http://bets.example/");
    std::vector<std::pair<std::string, const char*>> cases = {
        {Request(std::string(CATSERVER_URL_BYTES, 'a')), "a URL without an end"},
        {good + std::string(500000, 'x'), "far too long"},
        {good + '\0', "one byte too long"},
        {good.substr(0, good.size() - 1), "one byte short"},
        {"", "nothing"}};
    for (const size_t nByte : {0, 3, 4, 8, 9, 11}) {
        cases.emplace_back(good, "another word");
        cases.back().first[nByte] ^= 0x80;
    }
    RunningCatserver server(m_folder.Path());
    for (const auto& [szRequest, szReason] : cases)
        EXPECT_EQ(server.Ask(szRequest, true), REFUSAL) << szReason;
    EXPECT_EQ(server.Ask(good), Reply("51")) << "goes on";
}

TEST_F(CategoryServer, SilentAndSlowPeersHoldNobodyUp) {
    WriteCategoryList({{"bets.example", 51}});
    const RunningCatserver server(m_folder.Path());
    const auto start = std::chrono::steady_clock::now();
    const auto taken = [&] { return std::chrono::steady_clock::now() - start; };
    const std::string good = Request("http://bets.example/");

    const int nSilent = server.Connect(), nShort = server.Connect(), nPieces = server.Connect();
    const int nRefused = server.Connect(), nSlow = server.Connect();
    send(nShort, good.data(), good.size() - 1, 0);
    send(nPieces, good.data(), 5, 0);
    EXPECT_EQ(server.Ask(good), Reply("51"));
    send(nPieces, good.data() + 5, good.size() - 5, 0);
    EXPECT_EQ(TakeAll(nPieces), Reply("51")) << "in two pieces";
    EXPECT_LT(taken(), NOW);

    std::thread dribble([&] {  // one by one, on and on; and one who does not stop after a refusal
        while (send(nSlow, "\1", 1, MSG_NOSIGNAL) == 1 && taken() < IN_TIME) {
            (void)send(nRefused, good.data(), good.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
            std::this_thread::sleep_for(20ms);
        }
    });
    EXPECT_EQ(TakeAll(nSilent), REFUSAL);
    EXPECT_EQ(TakeAll(nShort), REFUSAL);
    dribble.join();
    EXPECT_LT(taken(), IN_TIME);
    for (const int nSocket : {nSilent, nShort, nPieces, nRefused, nSlow})
        close(nSocket);
}

TEST_F(CategoryServer, ServesManyAtOnceAndGivesUpTheOldestFirst) {
    WriteCategoryList({{"bets.example", 51}});
    const RunningCatserver server(m_folder.Path());
    const std::string good = Request("http://bets.example/");
    std::vector<int> sockets;
    const auto start = std::chrono::steady_clock::now();
    for (uint32_t i = 0; i < CONNECTIONS_MAX; ++i)
        sockets.push_back(server.Connect());
    EXPECT_EQ(server.Ask(good), Reply("51")) << "takes the place of the oldest";
    EXPECT_EQ(TakeAll(sockets[0]), REFUSAL);
    ASSERT_LT(std::chrono::steady_clock::now() - start, NOW);
    for (size_t i = 1; i < sockets.size(); ++i)
        send(sockets[i], good.data(), good.size(), MSG_NOSIGNAL);
    for (size_t i = 1; i < sockets.size(); ++i)
        EXPECT_EQ(TakeAll(sockets[i]), Reply("51")) << i;
    for (const int nSocket : sockets)
        close(nSocket);
}

TEST_F(CategoryServer, ReloadsByHangUp) {
    RunningCatserver server(m_folder.Path());
    const std::string request = Request("http://bets.example/");
    EXPECT_EQ(server.Ask(request), REFUSAL) << "nothing imported yet, and the server has started";
    WriteCategoryList({{"bets.example", 51}});
    EXPECT_EQ(server.Ask(request), REFUSAL) << "not before it is told";
    server.Reload();
    EXPECT_EQ(server.Ask(request), Reply("51"));
    unlink(m_folder.Path(CATEGORY_LIST).c_str());
    m_folder.Put(CATEGORY_LIST, "damaged");
    server.Reload();
    EXPECT_EQ(server.Ask(request), Reply("51")) << "a damaged file leaves the old one in force";
    unlink(m_folder.Path(CATEGORY_LIST).c_str());
    server.Reload();
    EXPECT_EQ(server.Ask(request), REFUSAL) << "the lists were removed";
    EXPECT_EQ(server.Stop(), 0);
}

TEST_F(CategoryServer, SaysWhyItCannotServe) {
    const int nTaken = ListenOnLoopback();
    const std::string szPort = std::to_string(PortOf(nTaken));
    const struct {
        std::string environment, arguments;
        int nStatus;
        std::string szError;
    } cases[] = {
        {"", "--port " + szPort, 1, "127.0.0.1 port " + szPort + ": Address already in use"},
        {"", "--address localhost", 1, "localhost port 7101: Invalid argument"},
        {"", "--address 192.0.2.1", 1, "Cannot assign requested address"},
        {"", "--lists " + std::string(600, 'l'), 1, "too long"},
        {"LISTEN_PID=$$ LISTEN_FDS=1", "", 1, "handed over"},
        {"LISTEN_PID=$$ LISTEN_FDS=2", "", 1, "handed over"},
        {"LISTEN_PID=1 LISTEN_FDS=1", "--port " + szPort, 1, "in use"},  // meant for another process
        {"", "--port 65536", 2, "--port"},
        {"", "stop", 2, "stop"},
    };
    for (const auto& c : cases) {
        const tagEndedProcess ended = RunCatserver(c.environment, c.arguments);
        EXPECT_EQ(ended.nStatus, c.nStatus) << c.szError;
        EXPECT_NE(ended.szErrors.find(c.szError), std::string::npos) << c.szError << ": " << ended.szErrors;
    }
    close(nTaken);
}

}  // namespace
