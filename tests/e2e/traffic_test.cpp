// Real requests of all three protocols: what is blocked ends at once and never reaches the server, everything
// else is answered, each packet with exactly one verdict.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "tests/e2e/daemon.h"
#include "tests/e2e/lab.h"
#include "tests/e2e/web_client.h"

namespace {
constexpr int AT_ONCE_MS = 100;

// Field of this network namespace's line about queue 0: 2 packets waiting, 5 dropped for want of room, 6 for
// want of buffer.
long QueueField(int nField) {
    return std::atol(
        Shell("awk '$1 == 0 {print $" + std::to_string(nField + 1) + "}' /proc/net/netfilter/nfnetlink_queue")
            .output.c_str());
}

struct tagRequest {
    const char* szReason;
    std::string host, path;
    bool bBlocked;
};

void ExpectFate(const tagRequest& request, const std::string& address = SERVER) {
    SCOPED_TRACE(request.szReason);
    const tagReply reply = Get(request.host, request.path, address);
    if (request.bBlocked) {
        EXPECT_TRUE(reply.bReset) << reply.nStatus;
        EXPECT_LT(reply.nMilliseconds, AT_ONCE_MS);
        EXPECT_EQ(ServersSaw(" " + request.path + " "), 0u);
    } else {
        EXPECT_EQ(reply.nStatus, 200);
        EXPECT_TRUE(Within(1000, [&] { return ServersSaw(" " + request.path + " ") == 1; }));
    }
}
}  // namespace

class Traffic : public LabTest {};

TEST_F(Traffic, TenThousandKeepAliveRequests) {
    constexpr int CONNECTIONS = 8, REQUESTS = 1250;
    for (int nEntry = 0; nEntry < 50; ++nEntry)
        MustRun("websecctl block add other" + std::to_string(nEntry) + ".example");
    tagDaemon daemon = StartDaemon();
    std::atomic<int> nAnswered = 0;
    std::vector<std::thread> clients;
    for (int nClient = 0; nClient < CONNECTIONS; ++nClient) {
        clients.emplace_back([&nAnswered] {
            WebClient client;
            for (int nRequest = 0; nRequest < REQUESTS; ++nRequest)
                nAnswered += client.Get("allowed.example", "/ten-thousand").nStatus == 200;
        });
    }
    for (std::thread& client : clients)
        client.join();
    EXPECT_EQ(nAnswered, CONNECTIONS * REQUESTS);
    // Each of them went through the queue: its id, the last field, counts them.
    EXPECT_GE(QueueField(7), CONNECTIONS * REQUESTS);
    for (const int nField : {2, 5, 6})
        EXPECT_EQ(QueueField(nField), 0) << nField;
    // No verdict for a packet that was answered already: that would have cost a worker.
    EXPECT_EQ(ThreadCount(daemon.pid), ALL_THREADS);
    EXPECT_EQ(StopDaemon(daemon), 0);
}

TEST_F(Traffic, WebRequests) {
    MustRun("websecctl block add blocked.example paths.example/secret ported.example:8080/x 192.0.2.4");
    MustRun("websecctl block add --subdomains domain.example");
    MustRun("websecctl block add excluded.example range.example");
    MustRun("echo 'excluded.example/through' | websecctl datafile build exclusion " +
            ProductFile("pcintwl.dat"));
    MustRun("echo '192.0.2.5' | websecctl datafile build ranges " + ProductFile("wsintip.dat"));
    tagDaemon daemon = StartDaemon();
    const tagRequest rows[] = {
        {"in no list", "allowed.example", "/web/allowed", false},
        {"host entry", "blocked.example", "/web/host", true},
        {"host entry, other case", "BLOCKED.Example", "/web/case", true},
        {"host entry with www.", "www.blocked.example", "/web/www", true},
        {"host entry has no sub-domains", "sub.blocked.example", "/web/subhost", false},
        {"sub-domain entry", "deep.sub.domain.example", "/web/sub", true},
        {"URL entry", "paths.example", "/secret", true},
        {"neighbour of a URL entry", "paths.example", "/web/neighbour", false},
        {"entry with port", "ported.example:8080", "/x", true},
        {"address entry", "192.0.2.4", "/", true},
        {"excluded pattern", "excluded.example", "/through", false},
        {"beside the excluded pattern", "excluded.example", "/web/beside", true},
    };
    for (const tagRequest& row : rows) {
        if (row.path != "/") ExpectFate(row);
    }
    EXPECT_TRUE(Get("192.0.2.4", "/", "192.0.2.4").bReset);
    ExpectFate({"range that is not looked at", "range.example", "/web/range", false}, "192.0.2.5");
    ExpectFate({"loopback", "blocked.example", "/web/loopback", true}, "127.0.0.1");
    ExpectFate({"own address", "blocked.example", "/web/own", true}, "192.0.2.1");

    MustRun("websecctl block remove blocked.example");
    ExpectFate({"no longer in the list", "blocked.example", "/web/again", false});
    EXPECT_EQ(StopDaemon(daemon), 0);
}

TEST_F(Traffic, BlockedOnAConnectionInUse) {
    MustRun("websecctl block add blocked.example");
    tagDaemon daemon = StartDaemon();
    WebClient client;
    EXPECT_EQ(client.Get("allowed.example", "/in-use/first").nStatus, 200);
    const tagReply reply = client.Get("blocked.example", "/in-use/second");
    EXPECT_TRUE(reply.bReset);
    EXPECT_LT(reply.nMilliseconds, AT_ONCE_MS);
    EXPECT_EQ(ServersSaw("/in-use/second"), 0u);
    // A request of three segments, the middle ones without PSH.
    EXPECT_EQ(WebClient().Get("allowed.example", "/in-use/long", 3000).nStatus, 200);
    // On a busy host the kernel now and then sends it in two parts; the first has no PSH then and is not
    // seen.
    const auto isReset = [] {
        return WebClient().Get("blocked.example", "/in-use/blocked-long", 3000).bReset;
    };
    EXPECT_TRUE(isReset() || isReset() || isReset());
    EXPECT_EQ(StopDaemon(daemon), 0);
}

TEST_F(Traffic, ServerNames) {
    MustRun("websecctl block add blocked.example local-blocked.example");
    MustRun("websecctl block add --subdomains domain.example");
    tagDaemon daemon = StartDaemon();
    const std::pair<std::string, bool> rows[] = {{"allowed.example", false},
                                                 {"blocked.example", true},
                                                 {"sub.domain.example", true},
                                                 {"local-allowed.example", false},
                                                 {"local-blocked.example", true}};
    for (const auto& [host, bBlocked] : rows) {
        for (const char* szVersion : {"1.2", "1.3"}) {
            SCOPED_TRACE(host + " " + szVersion);
            const std::string ask = std::string("curl -sk -m 3 -o /dev/null --tls-max ") + szVersion;
            EXPECT_EQ(Shell(ask + " https://" + host + "/").nStatus, bBlocked ? 35 : 0);
        }
    }
    EXPECT_EQ(StopDaemon(daemon), 0);
}

TEST_F(Traffic, FtpCommands) {
    if (Shell("command -v vsftpd").nStatus != 0) {
        ASSERT_STRNE(std::getenv("WEBSEC_REQUIRE_E2E"), "1") << "needs vsftpd";
        GTEST_SKIP() << "needs vsftpd";
    }
    const auto fetch = [](const std::string& path) { return Shell("curl -s -m 3 ftp://192.0.2.2/" + path); };
    ASSERT_TRUE(Within(3000, [&] { return fetch("file.txt").nStatus == 0; }));
    tagDaemon daemon = StartDaemon();
    const struct {
        const char* szReason;
        std::string entry;
        bool bFileBlocked, bFolderBlocked;
    } rows[] = {
        {"nothing listed", "", false, false},
        {"another server", "192.0.2.3", false, false},
        {"RETR of one file", "192.0.2.2/file.txt", true, false},
        {"CWD into one folder", "192.0.2.2/pub", false, true},
        {"the whole server", "192.0.2.2", true, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szReason);
        if (!row.entry.empty()) MustRun("websecctl block add " + row.entry);
        EXPECT_EQ(fetch("file.txt").output == "a file\n", !row.bFileBlocked);
        EXPECT_EQ(fetch("pub/other.txt").output == "a file\n", !row.bFolderBlocked);
        if (!row.entry.empty()) MustRun("websecctl block remove " + row.entry);
    }
    EXPECT_EQ(StopDaemon(daemon), 0);
}

// The reset enters through loopback with the server's address as its source.
TEST_F(Traffic, ResetPassesStrictReversePathFilter) {
    MustRun("websecctl block add blocked.example");
    for (const char* szFile : {"all", "lo", "client0"})
        WriteFile(std::string("/proc/sys/net/ipv4/conf/") + szFile + "/rp_filter", "1");
    for (const char* szKind : {"nft", "legacy"}) {
        SCOPED_TRACE(szKind);
        UseIptables(szKind);
        tagDaemon daemon = StartDaemon();
        ExpectFate({"veth", "blocked.example", "/strict/veth", true});
        ExpectFate({"loopback", "blocked.example", "/strict/loopback", true}, "127.0.0.1");
        EXPECT_EQ(StopDaemon(daemon), 0);
    }
    for (const char* szFile : {"all", "lo", "client0"})
        WriteFile(std::string("/proc/sys/net/ipv4/conf/") + szFile + "/rp_filter", "0");
}
