// The other end of a category look-up: a thread on a port of its own that takes one connection and does with
// it as told. The connection is closed when that is done, the thread joined with the object.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <functional>
#include <string_view>
#include <thread>

// A socket that listens on the loopback address.
inline int ListenOnLoopback(int nBacklog = 16) {
    const int nSocket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(nSocket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    listen(nSocket, nBacklog);
    return nSocket;
}

inline uint16_t PortOf(int nSocket) {
    sockaddr_in address = {};
    socklen_t nLength = sizeof address;
    getsockname(nSocket, reinterpret_cast<sockaddr*>(&address), &nLength);
    return ntohs(address.sin_port);
}

inline bool SendAll(int nSocket, std::string_view bytes) {
    return send(nSocket, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

class ScriptedServer {
  public:
    explicit ScriptedServer(std::function<void(int)> serve) : m_nListen(ListenOnLoopback()) {
        m_Thread = std::thread([this, serve = std::move(serve)] {
            const int nSocket = accept(m_nListen, nullptr, nullptr);
            if (nSocket < 0) return;
            serve(nSocket);
            close(nSocket);
        });
    }
    ~ScriptedServer() {
        shutdown(m_nListen, SHUT_RDWR);
        m_Thread.join();
        close(m_nListen);
    }
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    uint16_t Port() const { return PortOf(m_nListen); }

  private:
    int m_nListen;
    std::thread m_Thread;
};
