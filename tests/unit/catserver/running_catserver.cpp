#include "tests/unit/catserver/running_catserver.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace {

[[noreturn]] void Execute(int nThird, std::vector<std::string> arguments) {
    dup2(nThird, 3);  // without close-on-exec
    std::vector<char*> pointers = {const_cast<char*>("websec-catserver")};
    for (std::string& argument : arguments) {
        const size_t nEquals = argument.find('=');
        if (argument[0] == '-' || nEquals == std::string::npos) {
            pointers.push_back(argument.data());
        } else if (argument == "LISTEN_PID=self") {
            setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1);
        } else {
            setenv(argument.substr(0, nEquals).c_str(), argument.c_str() + nEquals + 1, 1);
        }
    }
    pointers.push_back(nullptr);
    execv(CATSERVER_PROGRAM, pointers.data());
    _exit(127);
}

int WaitForEnd(pid_t nPid) {
    int nStatus = -1;
    waitpid(nPid, &nStatus, 0);
    return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
}

}  // namespace

tagEndedProcess RunCatserver(std::vector<std::string> arguments) {
    int pipeEnds[2];
    if (pipe2(pipeEnds, O_CLOEXEC) != 0) return {-1, "no pipe"};
    const pid_t nPid = fork();
    if (nPid == 0) {
        dup2(pipeEnds[1], STDERR_FILENO);
        Execute(open("/dev/null", O_RDWR), std::move(arguments));
    }
    close(pipeEnds[1]);
    std::string szErrors(4096, '\0');
    ssize_t nRead = 0;
    size_t nErrors = 0;
    while ((nRead = read(pipeEnds[0], szErrors.data() + nErrors, szErrors.size() - nErrors)) > 0)
        nErrors += static_cast<size_t>(nRead);
    szErrors.resize(nErrors);
    close(pipeEnds[0]);
    return {WaitForEnd(nPid), szErrors};
}

RunningCatserver::RunningCatserver(const std::string& szListsDir) {
    const int nListen = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(nListen, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    listen(nListen, 512);
    socklen_t nLength = sizeof address;
    getsockname(nListen, reinterpret_cast<sockaddr*>(&address), &nLength);
    m_nPort = ntohs(address.sin_port);
    m_nPid = fork();
    if (m_nPid == 0) {
        Execute(nListen, {"LISTEN_PID=self", "LISTEN_FDS=1", "--lists", szListsDir});
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
