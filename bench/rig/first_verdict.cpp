// How long a program takes until it gives its first verdict on queue 0:
//
//     first_verdict COMMAND [ARGUMENT...]
//
// starts COMMAND, sends a request to 192.0.2.2, port 9, twice a millisecond, and watches the kernel's account
// of the queue until one of them has been queued and answered. Prints the milliseconds since the start and
// leaves COMMAND running. 1 when there is no verdict within 300 seconds.
#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>

#include "bench/rig/raw_packet.h"

namespace {

using Clock = std::chrono::steady_clock;

void Start(char** argv) {
    if (fork() != 0) return;
    (void)setsid();  // as a daemon: the kernel shares the processors out by sessions
    if (!freopen("/dev/null", "w", stdout)) _exit(127);
    execvp(argv[0], argv);
    std::perror(argv[0]);
    _exit(127);
}

void SendProbe(int fd, uint16_t nPort) {
    tagRawPacket packet;
    const tagRawRoute route{inet_addr("192.0.2.1"), inet_addr("192.0.2.2"), nPort, 9};
    ComposeRequest(packet, route, 1, "allowed.example");
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = route.nDstAddr;
    (void)sendto(fd, packet.bytes, packet.nLength, 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
}

// A line is: number, port id, waiting, copy mode, copy range, dropped twice, last id, 1.
bool IsAnyAnswered() {
    FILE* pFile = std::fopen("/proc/net/netfilter/nfnetlink_queue", "r");
    if (!pFile) return false;
    unsigned nQueue, nWaiting, nLastId;
    const int nRead = std::fscanf(pFile, "%u %*u %u %*u %*u %*u %*u %u", &nQueue, &nWaiting, &nLastId);
    std::fclose(pFile);
    return nRead == 3 && nLastId > nWaiting;
}

}  // namespace

int main(int argc, char** argv) {
    const int fd = OpenRawSocket();
    if (argc < 2 || fd < 0) {
        std::fprintf(stderr, "first_verdict COMMAND [ARGUMENT...], as root\n");
        return 2;
    }
    const Clock::time_point start = Clock::now();
    Start(argv + 1);
    uint16_t nPort = 20000;
    while (Clock::now() - start < std::chrono::seconds(300)) {
        SendProbe(fd, nPort = nPort < 60000 ? nPort + 1 : 20000);
        if (IsAnyAnswered()) {
            std::printf("%.1f\n", std::chrono::duration<double, std::milli>(Clock::now() - start).count());
            return 0;
        }
        usleep(500);
    }
    return 1;
}
