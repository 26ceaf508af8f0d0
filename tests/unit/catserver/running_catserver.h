// The real websec-catserver as a child process. It is given a listening socket of its own, as a service
// manager would, so that tests may run side by side.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/support/scripted_server.h"

// What a finished process left: its exit status (-1: it did not exit) and standard error.
struct tagEndedProcess {
    int nStatus;
    std::string szErrors;
};

// Runs the program to its end with no socket handed over, but descriptor 3 open on /dev/null. Both texts are
// a shell's, whose process becomes the program: LISTEN_PID=$$ in the environment names the program itself.
inline tagEndedProcess RunCatserver(const std::string& environment, const std::string& arguments) {
    const std::string command = "exec 3</dev/null; exec env " + environment + " " CATSERVER_PROGRAM " " +
                                arguments + " 2>&1 >/dev/null";
    FILE* pPipe = popen(command.c_str(), "re");
    std::string szErrors(4096, '\0');
    szErrors.resize(fread(szErrors.data(), 1, szErrors.size(), pPipe));
    return {WEXITSTATUS(pclose(pPipe)), szErrors};
}

// All that comes until the peer closes; "TIMEOUT" or "RESET" instead when it does not or not properly.
inline std::string TakeAll(int nSocket) {
    std::string all;
    char part[256];
    for (;;) {
        const ssize_t nRead = recv(nSocket, part, sizeof part, 0);
        if (nRead == 0) return all;
        if (nRead < 0) return errno == EAGAIN ? "TIMEOUT" : "RESET";
        all.append(part, static_cast<size_t>(nRead));
    }
}

class RunningCatserver {
  public:
    explicit RunningCatserver(const std::string& szListsDir) {
        const int nListen = ListenOnLoopback(512);
        m_nPort = PortOf(nListen);
        m_nPid = fork();
        if (m_nPid == 0) {
            fcntl(dup2(nListen, 3), F_SETFD, 0);  // stays open over the exec
            setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1);
            setenv("LISTEN_FDS", "1", 1);
            execl(CATSERVER_PROGRAM, "websec-catserver", "--lists", szListsDir.c_str(), nullptr);
            _exit(127);
        }
        close(nListen);
    }
    ~RunningCatserver() {
        if (m_nPid > 0) (void)End(SIGKILL);
    }
    RunningCatserver(const RunningCatserver&) = delete;
    RunningCatserver& operator=(const RunningCatserver&) = delete;

    // A connection to it, whose operations time out after five seconds; closed by its taker.
    int Connect() const {
        const int nSocket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const timeval limit = {5, 0};
        setsockopt(nSocket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        setsockopt(nSocket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        if (ConnectTo(nSocket, "127.0.0.1", m_nPort) == 0) return nSocket;
        close(nSocket);
        return -1;
    }

    // Sends the bytes on a connection of its own, says that no more will come if told to, and takes the whole
    // reply.
    std::string Ask(const std::string& request, bool bEnd = false) const {
        const int nSocket = Connect();
        (void)send(nSocket, request.data(), request.size(), MSG_NOSIGNAL);
        if (bEnd) shutdown(nSocket, SHUT_WR);
        const std::string reply = TakeAll(nSocket);
        close(nSocket);
        return reply;
    }

    void Reload() const { kill(m_nPid, SIGHUP); }

    // Ends it by SIGTERM. Its exit status.
    int Stop() { return End(SIGTERM); }

  private:
    int End(int nSignal) {
        int nStatus = -1;
        kill(m_nPid, nSignal);
        waitpid(m_nPid, &nStatus, 0);
        m_nPid = -1;
        return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
    }

    pid_t m_nPid = -1;
    uint16_t m_nPort = 0;
};
