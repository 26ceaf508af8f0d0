// What tests do with sockets of IPv4.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>

inline sockaddr_in AddressOf(const char* szHost, uint16_t nPort) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(nPort);
    inet_pton(AF_INET, szHost, &address.sin_addr);
    return address;
}

inline int ConnectTo(int nSocket, const char* szHost, uint16_t nPort) {
    const sockaddr_in address = AddressOf(szHost, nPort);
    return connect(nSocket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

// Port 0: one that nobody uses.
inline int BindTo(int nSocket, const char* szHost, uint16_t nPort) {
    const int nOn = 1;
    setsockopt(nSocket, SOL_SOCKET, SO_REUSEADDR, &nOn, sizeof nOn);
    const sockaddr_in address = AddressOf(szHost, nPort);
    return bind(nSocket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

// A socket that listens on the loopback address; -1 when the port is taken.
inline int ListenOnLoopback(int nBacklog = 16, uint16_t nPort = 0) {
    const int nSocket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (BindTo(nSocket, "127.0.0.1", nPort) != 0) return -1;
    listen(nSocket, nBacklog);
    return nSocket;
}

inline uint16_t PortOf(int nSocket) {
    sockaddr_in address = {};
    socklen_t nLength = sizeof address;
    getsockname(nSocket, reinterpret_cast<sockaddr*>(&address), &nLength);
    return ntohs(address.sin_port);
}
