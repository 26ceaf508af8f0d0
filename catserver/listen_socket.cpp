#include "catserver/listen_socket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <string_view>

namespace {

constexpr int FIRST_HANDED_OVER = 3;

long ReadEnvironmentNumber(const char* szName);
bool IsListeningStream(int nSocket);

}  // namespace

int TakeListenSocket() {
    const long nPid = ReadEnvironmentNumber("LISTEN_PID");
    const long nSockets = ReadEnvironmentNumber("LISTEN_FDS");
    unsetenv("LISTEN_PID");
    unsetenv("LISTEN_FDS");
    if (nPid != getpid() || nSockets < 1) return -1;
    if (nSockets > 1 || !IsListeningStream(FIRST_HANDED_OVER)) return -2;
    const int nFlags = fcntl(FIRST_HANDED_OVER, F_GETFL);
    if (nFlags < 0 || fcntl(FIRST_HANDED_OVER, F_SETFL, nFlags | O_NONBLOCK) != 0) return -2;
    if (fcntl(FIRST_HANDED_OVER, F_SETFD, FD_CLOEXEC) != 0) return -2;
    return FIRST_HANDED_OVER;
}

int OpenListenSocket(const char* szAddress, uint16_t nPort) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(nPort);
    if (inet_pton(AF_INET, szAddress, &address.sin_addr) != 1) {
        errno = EINVAL;
        return -1;
    }
    const int nSocket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (nSocket < 0) return -1;
    // Connections of a server that was just stopped must not keep its successor from the port.
    const int nOn = 1;
    if (setsockopt(nSocket, SOL_SOCKET, SO_REUSEADDR, &nOn, sizeof nOn) == 0 &&
        bind(nSocket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        listen(nSocket, SOMAXCONN) == 0) {
        return nSocket;
    }
    const int nError = errno;
    close(nSocket);
    errno = nError;
    return -1;
}

namespace {

// 0 for a variable that is not there or no number.
long ReadEnvironmentNumber(const char* szName) {
    const char* szValue = getenv(szName);
    const std::string_view value = szValue ? szValue : "";
    long nValue = 0;
    const auto read = std::from_chars(value.data(), value.data() + value.size(), nValue);
    return read.ec == std::errc() && read.ptr == value.data() + value.size() ? nValue : 0;
}

bool IsListeningStream(int nSocket) {
    int nDomain = 0, nType = 0, nListening = 0;
    socklen_t nLength = sizeof nDomain;
    if (getsockopt(nSocket, SOL_SOCKET, SO_DOMAIN, &nDomain, &nLength) != 0) return false;
    if (getsockopt(nSocket, SOL_SOCKET, SO_TYPE, &nType, &nLength) != 0) return false;
    if (getsockopt(nSocket, SOL_SOCKET, SO_ACCEPTCONN, &nListening, &nLength) != 0) return false;
    return (nDomain == AF_INET || nDomain == AF_INET6) && nType == SOCK_STREAM && nListening == 1;
}

}  // namespace
