#include "catserver/category_server.h"

#include <poll.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <span>

#include "catserver/connections.h"
#include "catserver/exchange.h"
#include "common/monotonic_ms.h"

namespace {

// What epoll gives back: the index of a connection, or one of these.
enum : uint32_t { SOURCE_LISTEN = CONNECTIONS_MAX, SOURCE_SIGNAL };

struct tagServer {
    int nListen;
    int nSignals;
    int nEpoll;
    tagCategoryLists* pLists;
    tagConnectionTable table;
};

// 3 MB, so not on the stack; there is one server in a process.
tagServer g_Server;

int OpenSources(tagServer& server);
int Watch(tagServer& server, int fd, uint32_t nSource);
int OpenSignals();
int Serve(tagServer& server);
bool TakeSignal(tagServer& server);
void ReportLists(const tagCategoryLists& lists, int nResult);
void AcceptConnections(tagServer& server);
bool MakeRoom(tagServer& server);
void CloseOverdue(tagServer& server);
int TimeToDeadline(const tagServer& server);

}  // namespace

int RunCategoryServer(int nListenSocket, tagCategoryLists& lists) {
    tagServer& server = g_Server;
    server.nListen = nListenSocket;
    server.nSignals = server.nEpoll = -1;
    server.pLists = &lists;
    InitConnections(server.table);
    signal(SIGPIPE, SIG_IGN);

    int nResult = OpenSources(server);
    if (nResult == 0) {
        ReportLists(lists, LoadCategoryLists(lists));
        nResult = Serve(server);
    }
    while (server.table.nOldest != NO_CONNECTION)
        CloseConnection(server.table, server.table.nOldest);
    if (server.nSignals >= 0) close(server.nSignals);
    if (server.nEpoll >= 0) close(server.nEpoll);
    return nResult;
}

namespace {

int OpenSources(tagServer& server) {
    server.nEpoll = epoll_create1(EPOLL_CLOEXEC);
    if (server.nEpoll < 0) return errno;
    server.nSignals = OpenSignals();
    if (server.nSignals < 0) return errno;
    const int nResult = Watch(server, server.nSignals, SOURCE_SIGNAL);
    return nResult != 0 ? nResult : Watch(server, server.nListen, SOURCE_LISTEN);
}

int Watch(tagServer& server, int fd, uint32_t nSource) {
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.u32 = nSource;
    return epoll_ctl(server.nEpoll, EPOLL_CTL_ADD, fd, &event) == 0 ? 0 : errno;
}

int OpenSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int nSignal : {SIGHUP, SIGTERM, SIGINT})
        sigaddset(&signals, nSignal);
    if (sigprocmask(SIG_BLOCK, &signals, nullptr) != 0) return -1;
    return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

int Serve(tagServer& server) {
    epoll_event events[64];
    for (;;) {
        const int nReady = epoll_wait(server.nEpoll, events, std::size(events), TimeToDeadline(server));
        if (nReady < 0 && errno != EINTR) return errno;
        // A connection that closes here may leave an event behind for the one that takes its place: reading
        // that one early finds nothing, which is no harm.
        for (const epoll_event& event : std::span(events, static_cast<size_t>(std::max(nReady, 0)))) {
            if (event.data.u32 == SOURCE_SIGNAL) {
                if (!TakeSignal(server)) return 0;
            } else if (event.data.u32 == SOURCE_LISTEN) {
                AcceptConnections(server);
            } else {
                ContinueExchange(server.table, event.data.u32, *server.pLists);
            }
        }
        CloseOverdue(server);
    }
}

// False when the server is to end.
bool TakeSignal(tagServer& server) {
    signalfd_siginfo info;
    if (read(server.nSignals, &info, sizeof info) != sizeof info) return true;
    if (info.ssi_signo != SIGHUP) return false;
    ReportLists(*server.pLists, LoadCategoryLists(*server.pLists));
    return true;
}

void ReportLists(const tagCategoryLists& lists, int nResult) {
    if (nResult == URLMAP_OK) {
        std::fprintf(stderr, "websec-catserver: %s: %u names\n", lists.szPath, lists.map.nNames);
    } else if (nResult == URLMAP_MISSING) {
        std::fprintf(stderr, "websec-catserver: %s: not there, so no site has a category\n", lists.szPath);
    } else {
        const char* szReason = nResult == URLMAP_DAMAGED  ? "damaged"
                               : nResult == URLMAP_OTHER  ? "not a category list of this version"
                               : nResult == URLMAP_SYSTEM ? std::strerror(errno)
                                                          : "cannot be read";
        std::fprintf(stderr, "websec-catserver: %s: %s; %u names stay in force\n", lists.szPath, szReason,
                     lists.map.nNames);
    }
}

// As many as wait, but not for ever: those who are connected want to be read too.
void AcceptConnections(tagServer& server) {
    for (int i = 0; i < 64; ++i) {
        const int nSocket = accept4(server.nListen, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (nSocket < 0) {
            const bool bScarce = errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
            if (bScarce && MakeRoom(server)) continue;
            return;
        }
        if (server.table.nFree == NO_CONNECTION) MakeRoom(server);
        const uint32_t nIndex = AddConnection(server.table, nSocket, MonotonicMs());
        if (Watch(server, nSocket, nIndex) != 0) CloseConnection(server.table, nIndex);
    }
}

// Gives up the oldest connection. False when there is none: what is scarce is then in other hands, and a
// short pause keeps the server from asking for it without end.
bool MakeRoom(tagServer& server) {
    if (server.table.nOldest == NO_CONNECTION) {
        poll(nullptr, 0, 50);
        return false;
    }
    RefuseAndClose(server.table, server.table.nOldest);
    return true;
}

void CloseOverdue(tagServer& server) {
    const int64_t nNow = MonotonicMs();
    for (;;) {
        const uint32_t nOldest = server.table.nOldest;
        if (nOldest == NO_CONNECTION || server.table.connections[nOldest].nDeadline > nNow) return;
        RefuseAndClose(server.table, nOldest);
    }
}

// For epoll: milliseconds, -1 for ever.
int TimeToDeadline(const tagServer& server) {
    if (server.table.nOldest == NO_CONNECTION) return -1;
    const int64_t nLeft = server.table.connections[server.table.nOldest].nDeadline - MonotonicMs();
    return static_cast<int>(std::clamp<int64_t>(nLeft, 0, CONNECTION_TIME_MS));
}

}  // namespace
