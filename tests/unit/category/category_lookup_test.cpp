#include "category/category_lookup.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "category/category_server_client.h"
#include "category/category_server_protocol.h"
#include "common/copy_text.h"
#include "tests/support/scripted_server.h"
#include "tests/unit/category/webcat_recorder.h"

using namespace std::chrono_literals;

namespace {

class CategoryLookup : public testing::Test {
  protected:
    CategoryLookup() { g_Webcat = {}; }
};

size_t OpenDescriptors() {
    const auto folder = std::filesystem::directory_iterator("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(folder), end(folder)));
}

std::string TakeRequest(int nSocket) {
    std::string request(sizeof(CategoryRequest), '\0');
    const ssize_t nTaken = recv(nSocket, request.data(), request.size(), MSG_WAITALL);
    request.resize(nTaken > 0 ? static_cast<size_t>(nTaken) : 0);
    return request;
}

void AwaitClose(int nSocket) {
    char c = 0;
    while (recv(nSocket, &c, 1, 0) > 0) {
    }
}

std::string Reply(uint32_t nStatus, uint64_t nLength, std::string_view szText) {
    const CategoryReply head = {nStatus, nLength};
    return std::string(reinterpret_cast<const char*>(&head), sizeof head).append(szText);
}

std::string Reply(std::string_view szText) {
    return Reply(CATSERVER_STATUS_OK, szText.size(), szText);
}

// Takes the request and gives the reply in one piece or byte by byte.
std::function<void(int)> Answering(std::string reply, size_t nPiece = std::string::npos) {
    return [=](int nSocket) {
        TakeRequest(nSocket);
        for (size_t i = 0; i < reply.size(); i += std::min(nPiece, reply.size()))
            SendAll(nSocket, std::string_view(reply).substr(i, nPiece));
    };
}

TEST_F(CategoryLookup, ReadsTheServersReply) {
    const struct {
        std::function<void(int)> serve;
        int nReal;  // -1: a failed look-up
        const char* szReason;
    } cases[] = {
        {Answering(Reply("42,17"), 1), 42, "the first id only, in pieces"},
        {Answering(Reply(" \t-1x")), 65535, "blanks and a sign before, letters behind"},
        {Answering(Reply("65579")), 43, "the low 16 bits"},
        {Answering(Reply("184467440737095516234")), 74, "a number beyond any integer"},
        {Answering(Reply("abc")), 0, "no digits"},
        {Answering(Reply(CATSERVER_STATUS_OK, 1, "42")), 4, "no more than its length"},
        {Answering(Reply(CATSERVER_STATUS_OK, UINT64_MAX, "7," + std::string(30000, '8'))), 7, "a long text"},
        {Answering(Reply(CATSERVER_STATUS_OK, 9, "42")), 42, "closes in the text"},
        {Answering(""), 0, "closes instead of a reply"},
        {[](int) {}, 0, "closes before it has the request"},
        {Answering(std::string("\1\0\0\0", 4)), -1, "refuses"},
        {Answering(Reply(0x100, 2, "42"), 1), -1, "a status above the first byte"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.szReason);
        const size_t nOpen = OpenDescriptors();
        tagWebRequest request{};
        CopyText(request.szCategories, "as before");
        g_Webcat.nReal = -1;
        {
            const ScriptedServer server(c.serve);
            EXPECT_EQ(AskCategoryServer(request, server.Port()), c.nReal < 0 ? -1 : 0);
        }
        EXPECT_EQ(g_Webcat.nReal, c.nReal);
        EXPECT_EQ(request.szCategories,
                  c.nReal < 0 ? "as before" : std::to_string(static_cast<uint16_t>(c.nReal + 1)));
        EXPECT_EQ(request.wszCategoryName[0], u'\0') << "the field behind the text";
        EXPECT_EQ(OpenDescriptors(), nOpen);
    }
}

TEST_F(CategoryLookup, SendsTheWholeURLInAPaddedRequest) {
    tagWebRequest request{};
    const std::string szURL = "http://" + std::string(sizeof request.szURL - 1 - 7, 'u');
    CopyText(request.szURL, szURL);
    std::string sent;
    {
        const ScriptedServer server([&](int nSocket) { sent = TakeRequest(nSocket); });
        EXPECT_EQ(AskCategoryServer(request, server.Port()), 0);
    }
    ASSERT_EQ(sent.size(), 12300u);
    EXPECT_EQ(sent.substr(0, 12), std::string("\1\0\0\0\4\0\0\0\x10\x27\0\0", 12));
    EXPECT_EQ(sent.substr(12, 1023), szURL);
    EXPECT_EQ(sent.find_first_not_of('\0', 12 + 1023), std::string::npos);
}

// A server that hangs costs its request two seconds and what a busy machine adds; no other worker waits.
TEST_F(CategoryLookup, EndsInTimeWhateverTheServerDoes) {
    const std::function<void(int)> hanging[] = {
        AwaitClose,
        [](int nSocket) { SendAll(nSocket, std::string(2, '\0')), AwaitClose(nSocket); },
        [](int nSocket) { SendAll(nSocket, Reply(CATSERVER_STATUS_OK, 3, "42")), AwaitClose(nSocket); },
        [](int nSocket) {
            const std::string reply = Reply(CATSERVER_STATUS_OK, 16000, "");
            for (size_t i = 0; SendAll(nSocket, i < reply.size() ? reply.substr(i, 1) : "1"); ++i)
                std::this_thread::sleep_for(20ms);
        },
    };
    const size_t nOpen = OpenDescriptors();
    const int nFull = ListenOnLoopback(0);  // room for one connection, which is never accepted
    std::vector<uint16_t> ports = {PortOf(nFull)};
    {
        const ScriptedServer first(hanging[0]), second(hanging[1]), third(hanging[2]), fourth(hanging[3]);
        ports.insert(ports.end(), {first.Port(), second.Port(), third.Port(), fourth.Port()});
        CategoryServerClient waiting;
        waiting.SetHost(CATSERVER_HOST);
        waiting.SetPort(ports[0]);
        EXPECT_TRUE(waiting.Connect());
        std::vector<std::thread> workers;
        for (const uint16_t nPort : ports) {
            workers.emplace_back([nPort] {
                const auto start = std::chrono::steady_clock::now();
                tagWebRequest request{};
                EXPECT_EQ(AskCategoryServer(request, nPort), -1);
                const auto taken = std::chrono::steady_clock::now() - start;
                EXPECT_GT(taken, 1900ms);
                EXPECT_LT(taken, 8s);  // five in turn take ten
            });
        }
        for (std::thread& worker : workers)
            worker.join();
        waiting.Close();
    }
    close(nFull);
    EXPECT_EQ(OpenDescriptors(), nOpen);
}

TEST_F(CategoryLookup, LeavesNoDescriptorWithoutAServerOrWhenCancelled) {
    const size_t nOpen = OpenDescriptors();
    const int nListen = ListenOnLoopback();
    const uint16_t nClosedPort = PortOf(nListen);
    close(nListen);
    tagWebRequest unanswered{};
    EXPECT_EQ(AskCategoryServer(unanswered, nClosedPort), -1);
    {
        const ScriptedServer server(AwaitClose);
        uint16_t nPort = server.Port();
        pthread_t worker;
        const auto ask = [](void* pPort) -> void* {
            tagWebRequest request{};
            (void)AskCategoryServer(request, *static_cast<uint16_t*>(pPort));
            return nullptr;
        };
        ASSERT_EQ(pthread_create(&worker, nullptr, ask, &nPort), 0);
        std::this_thread::sleep_for(200ms);
        pthread_cancel(worker);
        void* pResult = nullptr;
        pthread_join(worker, &pResult);
        EXPECT_EQ(pResult, PTHREAD_CANCELED);
    }
    EXPECT_EQ(OpenDescriptors(), nOpen);
}

}  // namespace
