// The socket that the server listens on: its own, or one that the service manager opened and handed over.
// Called once, at the start, before there are threads or other descriptors.
#pragma once

#include <cstdint>

// The socket that was handed over (the protocol of sd_listen_fds(3)): descriptor 3, when LISTEN_PID names
// this process and LISTEN_FDS is 1. Takes both out of the environment.
//   >= 0   the socket, close-on-exec and non-blocking
//   -1     nothing was handed over to this process
//   -2     something was, but not one listening TCP socket
int TakeListenSocket();

// Listens on an IPv4 address given as text. The socket, close-on-exec and non-blocking, or -1 with errno:
// EINVAL for a text that is no address, EADDRINUSE for a port that is taken.
int OpenListenSocket(const char* szAddress, uint16_t nPort);
