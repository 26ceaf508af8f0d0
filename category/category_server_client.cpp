#include "category/category_server_client.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "common/cancellation_off.h"
#include "common/copy_text.h"
#include "common/monotonic_ms.h"

namespace {

bool IsNotReady() {
    return errno == EAGAIN || errno == EWOULDBLOCK;
}

}  // namespace

void CategoryServerClient::SetHost(std::string_view szHost) {
    CopyText(m_szHost, szHost);
}

bool CategoryServerClient::Connect() {
    m_nDeadline = MonotonicMs() + CATSERVER_TIMEOUT_MS;
    m_nSocket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (m_nSocket < 0) return false;
    if (FinishConnect()) return true;
    Close();
    return false;
}

bool CategoryServerClient::FinishConnect() {
    m_Address = {};
    m_Address.sin_family = AF_INET;
    m_Address.sin_port = htons(m_nPort);
    if (inet_pton(AF_INET, m_szHost, &m_Address.sin_addr) < 0) return false;
    if (connect(m_nSocket, reinterpret_cast<const sockaddr*>(&m_Address), sizeof m_Address) == 0) return true;
    if (errno != EINPROGRESS) return false;
    if (!WaitFor(POLLOUT)) return false;
    int nError = 0;
    socklen_t nLength = sizeof nError;
    return getsockopt(m_nSocket, SOL_SOCKET, SO_ERROR, &nError, &nLength) == 0 && nError == 0;
}

bool CategoryServerClient::Write(const void* pBuffer, size_t nBytes) {
    const char* pNext = static_cast<const char*>(pBuffer);
    while (nBytes != 0) {
        const ssize_t nSent = send(m_nSocket, pNext, nBytes, MSG_NOSIGNAL);
        if (nSent >= 0) {
            pNext += nSent;
            nBytes -= static_cast<size_t>(nSent);
        } else if (IsNotReady()) {
            if (!WaitFor(POLLOUT)) return false;
        } else if (errno != EINTR) {
            return true;
        }
    }
    return true;
}

ssize_t CategoryServerClient::Read(void* pBuffer, size_t nBytes) {
    std::memset(pBuffer, 0, nBytes);
    char* const pBytes = static_cast<char*>(pBuffer);
    size_t nFilled = 0;
    while (nFilled < nBytes) {
        // Asked before each piece, so that a server that never pauses cannot go on for ever either.
        if (MonotonicMs() >= m_nDeadline) return -1;
        const ssize_t nRead = recv(m_nSocket, pBytes + nFilled, nBytes - nFilled, 0);
        if (nRead > 0) {
            nFilled += static_cast<size_t>(nRead);
        } else if (nRead < 0 && IsNotReady()) {
            if (!WaitFor(POLLIN)) return -1;
        } else if (nRead == 0 || errno != EINTR) {
            break;
        }
    }
    return static_cast<ssize_t>(nFilled);
}

// False at the deadline. A connection that broke counts as ready: the next operation says so.
bool CategoryServerClient::WaitFor(short nEvents) const {
    for (;;) {
        const int64_t nLeft = m_nDeadline - MonotonicMs();
        if (nLeft <= 0) return false;
        pollfd waiting = {m_nSocket, nEvents, 0};
        const int nReady = poll(&waiting, 1, static_cast<int>(nLeft));
        if (nReady > 0) return true;
        if (nReady < 0 && errno != EINTR) return false;
    }
}

void CategoryServerClient::Close() {
    if (m_nSocket < 0) return;
    const CancellationOff cancellationOff;
    close(m_nSocket);
    m_nSocket = -1;
}
