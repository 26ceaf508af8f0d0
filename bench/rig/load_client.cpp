// Asks a web server as often as a fixed number of connections can, each with one request at a time:
//
//     load_client kept|new CONNECTIONS SECONDS ADDRESS PORT HOST
//
// kept: each connection stays and asks again when it was answered; latency is from request to answer.
// new: each request has a connection of its own; latency is from connect() to the server's end of it.
// Prints one line: requests, seconds, requests a second, median and 99th percentile in microseconds, errors.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int EVENTS = 64;
constexpr size_t ANSWER_BYTES = 16384;

struct tagConnection {
    int fd = -1;
    bool bSent = false;
    size_t nGot = 0;   // bytes of the answer so far
    size_t nWant = 0;  // 0: not known yet
    Clock::time_point start;
};

struct tagLoad {
    bool bKept;
    sockaddr_in server;
    std::string request;
    int nEpoll;
    std::vector<tagConnection> connections;
    std::vector<uint32_t> microseconds;  // one for each request
    uint64_t nErrors;
};

void Open(tagLoad& load, tagConnection& connection);
void Reopen(tagLoad& load, tagConnection& connection);
void Serve(tagLoad& load, const epoll_event& event);
void Ask(tagLoad& load, tagConnection& connection);
void Receive(tagLoad& load, tagConnection& connection);
void Note(tagLoad& load, const tagConnection& connection);
size_t AnswerLength(std::string_view answer);
void Print(tagLoad& load, double dSeconds);

void Run(tagLoad& load, std::chrono::duration<double> wanted) {
    const Clock::time_point start = Clock::now();
    for (tagConnection& connection : load.connections)
        Open(load, connection);
    while (Clock::now() - start < wanted) {
        epoll_event events[EVENTS];
        const int nReady = epoll_wait(load.nEpoll, events, EVENTS, 100);
        for (int n = 0; n < nReady; ++n)
            Serve(load, events[n]);
    }
    Print(load, std::chrono::duration<double>(Clock::now() - start).count());
}

void Open(tagLoad& load, tagConnection& connection) {
    const int nOn = 1;
    connection = {};
    connection.start = Clock::now();
    connection.fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    (void)setsockopt(connection.fd, IPPROTO_TCP, TCP_NODELAY, &nOn, sizeof nOn);
    (void)connect(connection.fd, reinterpret_cast<const sockaddr*>(&load.server), sizeof load.server);
    epoll_event event{};
    event.events = EPOLLIN | EPOLLOUT | EPOLLET;
    event.data.ptr = &connection;
    if (epoll_ctl(load.nEpoll, EPOLL_CTL_ADD, connection.fd, &event) == 0) return;
    std::perror("load_client");
    std::exit(1);
}

void Reopen(tagLoad& load, tagConnection& connection) {
    close(connection.fd);
    Open(load, connection);
}

void Serve(tagLoad& load, const epoll_event& event) {
    auto& connection = *static_cast<tagConnection*>(event.data.ptr);
    if ((event.events & EPOLLERR) != 0) {
        ++load.nErrors;
        Reopen(load, connection);
        return;
    }
    if (!connection.bSent && (event.events & EPOLLOUT) != 0) {
        // What a connection that stays costs to make belongs to no request.
        if (load.bKept) connection.start = Clock::now();
        Ask(load, connection);
    }
    if ((event.events & (EPOLLIN | EPOLLHUP)) != 0) Receive(load, connection);
}

void Ask(tagLoad& load, tagConnection& connection) {
    connection.bSent = true;
    connection.nGot = 0;
    (void)send(connection.fd, load.request.data(), load.request.size(), MSG_NOSIGNAL);
}

// Reads what is there. The answers are alike, so the first one tells how long they are.
void Receive(tagLoad& load, tagConnection& connection) {
    char bytes[ANSWER_BYTES];
    for (;;) {
        const ssize_t nBytes = recv(connection.fd, bytes, sizeof bytes, 0);
        if (nBytes < 0 && errno == EAGAIN) return;
        if (nBytes <= 0) {
            const bool bWhole = nBytes == 0 && !load.bKept && connection.nGot > 0;
            if (bWhole) Note(load, connection);
            if (!bWhole) ++load.nErrors;
            Reopen(load, connection);
            return;
        }
        connection.nGot += static_cast<size_t>(nBytes);
        if (!load.bKept) continue;
        if (connection.nWant == 0) connection.nWant = AnswerLength({bytes, static_cast<size_t>(nBytes)});
        if (connection.nGot < connection.nWant) continue;
        Note(load, connection);
        connection.start = Clock::now();
        Ask(load, connection);
        return;
    }
}

void Note(tagLoad& load, const tagConnection& connection) {
    const auto taken = Clock::now() - connection.start;
    load.microseconds.push_back(
        static_cast<uint32_t>(std::chrono::duration_cast<std::chrono::microseconds>(taken).count()));
}

// Of header and body. The header comes in one piece.
size_t AnswerLength(std::string_view answer) {
    constexpr std::string_view KEY = "Content-Length: ";
    const size_t nKey = answer.find(KEY);
    const size_t nEnd = answer.find("\r\n\r\n");
    if (nKey == answer.npos || nEnd == answer.npos) {
        std::fprintf(stderr, "load_client: an answer without a length\n");
        std::exit(1);
    }
    return nEnd + 4 + std::strtoul(answer.data() + nKey + KEY.size(), nullptr, 10);
}

void Print(tagLoad& load, double dSeconds) {
    std::vector<uint32_t>& all = load.microseconds;
    std::sort(all.begin(), all.end());
    const auto percentile = [&](size_t n) { return all.empty() ? 0 : all[(all.size() - 1) * n / 100]; };
    std::printf("%zu %.3f %.0f %u %u %lu\n", all.size(), dSeconds, static_cast<double>(all.size()) / dSeconds,
                percentile(50), percentile(99), load.nErrors);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 7) {
        std::fprintf(stderr, "load_client kept|new CONNECTIONS SECONDS ADDRESS PORT HOST\n");
        return 2;
    }
    tagLoad load{};
    load.bKept = std::string_view(argv[1]) == "kept";
    load.connections.resize(std::strtoul(argv[2], nullptr, 10));
    load.server.sin_family = AF_INET;
    load.server.sin_port = htons(static_cast<uint16_t>(std::atoi(argv[5])));
    (void)inet_pton(AF_INET, argv[4], &load.server.sin_addr);
    load.request = std::string("GET / HTTP/1.1\r\nHost: ") + argv[6] + "\r\n" +
                   (load.bKept ? "" : "Connection: close\r\n") + "\r\n";
    load.nEpoll = epoll_create1(EPOLL_CLOEXEC);
    load.microseconds.reserve(1 << 20);
    Run(load, std::chrono::duration<double>(std::atof(argv[3])));
    return 0;
}
