#include "block/block_reset.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "inspect/ipv4_tcp.h"
#include "tests/support/packet_composer.h"

namespace {

const tagWebRequest kRequest{};

// The reset as it should be, put together by the composer.
Bytes ExpectedReset(uint32_t nSeq, uint32_t nAck, uint8_t nFlags, uint16_t nWindow) {
    Bytes reset = ComposePacket({.szSrcAddr = "198.51.100.20",
                                 .szDstAddr = "192.0.2.10",
                                 .nSrcPort = 80,
                                 .nDstPort = 40000,
                                 .nSeq = nSeq,
                                 .nAck = nAck,
                                 .nWindow = nWindow,
                                 .nFlags = nFlags});
    reset[4] = reset[5] = 0;  // identification
    SignPacket(reset);
    return reset;
}

TEST(BuildBlockReset, AnswersInTheServersName) {
    const uint8_t RST_ACK = FLAG_RST | FLAG_ACK;
    const struct {
        const char* szReason;
        tagTestPacket queued;
        uint32_t nSeq, nAck;
        uint8_t nFlags;
        uint16_t nWindow;
    } cases[] = {
        {"with ACK", {.nAck = 0xA0B0C0D0, .payload = "GET /"}, 0xA0B0C0D0, 0, FLAG_RST, 0xFA80},
        {"window shifted and cut", {.nAck = 7, .nWindow = 0x1234}, 7, 0, FLAG_RST, 0x1A00},
        {"options",
         {.nAck = 7, .nWindow = 1, .ipOptions = "\1\1\1\1", .tcpOptions = "\1\1\1\1"},
         7,
         0,
         FLAG_RST,
         128},
        {"no ACK",
         {.nSeq = 5000, .nWindow = 0, .nFlags = FLAG_PSH, .payload = std::string(100, 'x')},
         0,
         5100,
         RST_ACK,
         0},
        {"no ACK, SYN and FIN count",
         {.nSeq = 0xFFFFFFFF, .nWindow = 0, .nFlags = FLAG_SYN | FLAG_FIN},
         0,
         1,
         RST_ACK,
         0},
    };
    for (const auto& c : cases) {
        const Bytes packet = ComposePacket(c.queued);
        tagPacketInfo info = SlotOf(packet);
        ASSERT_EQ(ParseIPv4TCP(&info, &kRequest), 0) << c.szReason;
        const auto reset = BuildBlockReset(info);
        EXPECT_EQ(Bytes(reset.begin(), reset.end()), ExpectedReset(c.nSeq, c.nAck, c.nFlags, c.nWindow))
            << c.szReason;
    }
}

// Runs body in a process of its own; its result is what body returned.
enum { CHILD_SKIPS = 77 };
template <class Body>
int InChild(Body body) {
    const pid_t nChild = fork();
    if (nChild == 0) _exit(body());
    int nStatus = 0;
    if (nChild < 0 || waitpid(nChild, &nStatus, 0) != nChild || !WIFEXITED(nStatus)) return -1;
    return WEXITSTATUS(nStatus);
}

// A network of our own with nothing but a loopback interface. False where that is not permitted.
bool EnterPrivateNetwork() {
    if (unshare(CLONE_NEWNET) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) return false;
    ifreq loopback{};
    std::strcpy(loopback.ifr_name, "lo");
    loopback.ifr_flags = IFF_UP | IFF_RUNNING;
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool isUp = ioctl(fd, SIOCSIFFLAGS, &loopback) == 0;
    close(fd);
    return isUp;
}

// Lets a client connect and send, catches its segment, and returns what the client sees after the reset.
int ResetARealConnection() {
    if (!EnterPrivateNetwork()) return CHILD_SKIPS;
    const int wiretap = socket(AF_INET, SOCK_RAW, IPPROTO_TCP);
    const int server = socket(AF_INET, SOCK_STREAM, 0);
    const int client = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t nLength = sizeof address;
    sockaddr* pAddress = reinterpret_cast<sockaddr*>(&address);
    if (bind(server, pAddress, nLength) != 0 || listen(server, 1) != 0) return 1;
    if (getsockname(server, pAddress, &nLength) != 0 || connect(client, pAddress, nLength) != 0) return 2;
    if (send(client, "GET /", 5, 0) != 5) return 3;

    alarm(10);
    Bytes packet(1500);
    tagPacketInfo info{};
    while (info.nDataLen != 5) {
        packet.resize(1500);
        packet.resize(recv(wiretap, packet.data(), packet.size(), 0));
        SignPacket(packet);  // loopback leaves that to hardware which is not there
        info = SlotOf(packet);
        if (ParseIPv4TCP(&info, &kRequest) != 0) return 4;
    }
    const int fdBefore = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (SendBlockReset(&info) != 0) return 5;
    if (open("/dev/null", O_RDONLY | O_CLOEXEC) != fdBefore + 1) return 6;  // a socket was left open
    char c;
    return recv(client, &c, 1, 0) == -1 && errno == ECONNRESET ? 0 : 7;
}

TEST(SendBlockReset, EndsTheClientsConnection) {
    const int nResult = InChild(ResetARealConnection);
    if (nResult == CHILD_SKIPS) GTEST_SKIP() << "no right to make a network namespace";
    EXPECT_EQ(nResult, 0);
}

TEST(SendBlockReset, ReportsThatItCannot) {
    EXPECT_EQ(SendBlockReset(nullptr), 2);
    const int nResult = InChild([] {
        if (getuid() == 0 && setuid(65534) != 0) return 1;
        const Bytes packet = ComposePacket();
        tagPacketInfo info = SlotOf(packet);
        if (ParseIPv4TCP(&info, &kRequest) != 0) return 2;
        return SendBlockReset(&info) == -1 ? 0 : 3;
    });
    EXPECT_EQ(nResult, 0) << "a raw socket without the right to one";
}

}  // namespace
