// The other end of a category look-up: a thread on a port of its own that takes one connection and does with
// it as told. The connection is closed when that is done, the thread joined with the object.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <functional>
#include <string_view>
#include <thread>

#include "tests/support/sockets.h"

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
