#include "tests/unit/catserver/running_catserver.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "tests/support/scripted_server.h"

namespace {

int WaitForEnd(pid_t nPid) {
    int nStatus = -1;
    waitpid(nPid, &nStatus, 0);
    return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
}

}  // namespace

tagEndedProcess RunCatserver(const std::string& environment, const std::string& arguments) {
    // What is handed over as a socket is none.
    const std::string command = "exec 3</dev/null; exec env " + environment + " " CATSERVER_PROGRAM " " +
                                arguments + " 2>&1 >/dev/null";
    FILE* pPipe = popen(command.c_str(), "re");
    std::string szErrors(4096, '\0');
    szErrors.resize(fread(szErrors.data(), 1, szErrors.size(), pPipe));
    return {WEXITSTATUS(pclose(pPipe)), szErrors};
}

RunningCatserver::RunningCatserver(const std::string& szListsDir) {
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

RunningCatserver::~RunningCatserver() {
    if (m_nPid > 0) {
        kill(m_nPid, SIGKILL);
        WaitForEnd(m_nPid);
    }
}

int RunningCatserver::Connect() const {
    const int nSocket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval limit = {5, 0};
    setsockopt(nSocket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    setsockopt(nSocket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(m_nPort);
    if (connect(nSocket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return nSocket;
    close(nSocket);
    return -1;
}

std::string RunningCatserver::Ask(const std::string& request, bool bEnd) const {
    const int nSocket = Connect();
    (void)send(nSocket, request.data(), request.size(), MSG_NOSIGNAL);
    if (bEnd) shutdown(nSocket, SHUT_WR);
    const std::string reply = TakeAll(nSocket);
    close(nSocket);
    return reply;
}

void RunningCatserver::Reload() const {
    kill(m_nPid, SIGHUP);
}

int RunningCatserver::Stop() {
    kill(m_nPid, SIGTERM);
    const int nStatus = WaitForEnd(m_nPid);
    m_nPid = -1;
    return nStatus;
}

std::string TakeAll(int nSocket) {
    std::string all;
    char part[256];
    for (;;) {
        const ssize_t nRead = recv(nSocket, part, sizeof part, 0);
        if (nRead == 0) return all;
        if (nRead < 0) return errno == EAGAIN ? "TIMEOUT" : "RESET";
        all.append(part, static_cast<size_t>(nRead));
    }
}
