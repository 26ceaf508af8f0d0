// Sends requests without connections (raw_packet.h), as a burst or at a steady rate:
//
//     raw_requests burst COUNT BLOCKED_EVERY
//     raw_requests steady RATE SECONDS BLOCKED_EVERY
//
// to 192.0.2.2: to port 9001 for blocked.example every BLOCKED_EVERY, otherwise to port 9000 for
// allowed.example. Each comes from a port that was not used for a while, blocked ones from ports of their
// own. Prints: sent to port 9000, sent to port 9001, seconds, and what the model of the store loses of them.
#include <arpa/inet.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <thread>
#include <vector>

#include "bench/rig/raw_packet.h"
#include "bench/rig/store_model.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t BATCH = 64;
constexpr int SEND_BUFFER_BYTES = 256 << 20;
// As the part hand-off measures it, and 20 µs of judging; of two processors the sender and the receiver take
// one.
constexpr tagStoreModel MODEL{8, 16 + 20, 1};

bool IsBlocked(size_t n, size_t nBlockedEvery) {
    return n % nBlockedEvery == nBlockedEvery - 1;
}

std::vector<tagRawPacket> Compose(size_t nCount, size_t nBlockedEvery) {
    constexpr uint16_t PORTS = 20000, ALLOWED_FROM = 10000, BLOCKED_FROM = 35000;
    std::vector<tagRawPacket> packets(nCount);
    tagRawRoute route{inet_addr("192.0.2.1"), inet_addr("192.0.2.2"), 0, 0};
    for (size_t n = 0; n < nCount; ++n) {
        const bool bBlocked = IsBlocked(n, nBlockedEvery);
        route.nSrcPort = static_cast<uint16_t>(
            (bBlocked ? BLOCKED_FROM + n / nBlockedEvery % PORTS : ALLOWED_FROM + n % PORTS));
        route.nDstPort = bBlocked ? 9001 : 9000;
        const auto nSeq = static_cast<uint32_t>(1 + n / PORTS * RAW_PACKET_BYTES);
        ComposeRequest(packets[n], route, nSeq, bBlocked ? "blocked.example" : "allowed.example");
    }
    return packets;
}

void Send(int fd, tagRawPacket* pFirst, size_t nCount) {
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = inet_addr("192.0.2.2");
    mmsghdr messages[BATCH] = {};
    iovec parts[BATCH];
    for (size_t n = 0; n < nCount; ++n) {
        parts[n] = {pFirst[n].bytes, pFirst[n].nLength};
        messages[n].msg_hdr = {&to, sizeof to, &parts[n], 1, nullptr, 0, 0};
    }
    for (size_t nSent = 0; nSent < nCount;) {
        const int nNow = sendmmsg(fd, messages + nSent, static_cast<unsigned>(nCount - nSent), 0);
        if (nNow < 0) {
            std::perror("raw_requests");
            std::exit(1);
        }
        nSent += static_cast<size_t>(nNow);
    }
}

// nRate: a second; 0 for all at once. Returns when each was sent, in microseconds.
std::vector<int64_t> SendAll(int fd, std::vector<tagRawPacket>& packets, size_t nRate) {
    std::vector<int64_t> times;
    times.reserve(packets.size());
    const Clock::time_point start = Clock::now();
    const auto Elapsed = [&] {
        return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start).count();
    };
    while (times.size() < packets.size()) {
        size_t nDue = packets.size();
        if (nRate > 0) nDue = std::min(nDue, static_cast<size_t>(Elapsed()) * nRate / 1'000'000);
        const size_t nNow = std::min(nDue - times.size(), BATCH);
        if (nNow == 0) {
            std::this_thread::sleep_for(std::chrono::microseconds(200));
            continue;
        }
        Send(fd, &packets[times.size()], nNow);
        times.resize(times.size() + nNow, Elapsed());
    }
    return times;
}

}  // namespace

int main(int argc, char** argv) {
    const bool bBurst = argc == 4 && std::string_view(argv[1]) == "burst";
    const bool bSteady = argc == 5 && std::string_view(argv[1]) == "steady";
    const int fd = OpenRawSocket();
    if ((!bBurst && !bSteady) || fd < 0) {
        std::fprintf(stderr, "raw_requests burst COUNT EVERY | steady RATE SECONDS EVERY, as root\n");
        return 2;
    }
    (void)setsockopt(fd, SOL_SOCKET, SO_SNDBUFFORCE, &SEND_BUFFER_BYTES, sizeof SEND_BUFFER_BYTES);
    const size_t nNumber = std::strtoul(argv[2], nullptr, 10);
    const size_t nCount = bBurst ? nNumber : nNumber * std::strtoul(argv[3], nullptr, 10);
    const size_t nEvery = std::strtoul(argv[argc - 1], nullptr, 10);
    std::vector<tagRawPacket> packets = Compose(nCount, nEvery);
    const std::vector<int64_t> times = SendAll(fd, packets, bBurst ? 0 : nNumber);
    const std::vector<size_t> lost = FindModelLosses(MODEL, times);
    const auto nAllowedLost =
        std::count_if(lost.begin(), lost.end(), [&](size_t n) { return !IsBlocked(n, nEvery); });
    std::printf("%zu %zu %.3f %td\n", nCount - nCount / nEvery, nCount / nEvery,
                static_cast<double>(times.back()) / 1e6, nAllowedLost);
    return 0;
}
