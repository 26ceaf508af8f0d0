#include "block/block_reset.h"

#include <arpa/inet.h>
#include <netinet/ip.h>
#include <netinet/tcp.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

#include "inspect/internet_checksum.h"

namespace {

struct tagResetPacket {
    iphdr ip;
    tcphdr tcp;
};
static_assert(sizeof(tagResetPacket) == BLOCK_RESET_LEN);

struct tagSignedSegment {
    uint32_t nSrcAddr;  // the pseudo-header: addresses, a zero byte, protocol and TCP length
    uint32_t nDstAddr;
    uint8_t nZero;
    uint8_t nProtocol;
    uint16_t nLength;
    tcphdr tcp;
};
static_assert(sizeof(tagSignedSegment) == 32);

iphdr BuildIPHeader(const tagPacketInfo& packet);
tcphdr BuildTCPHeader(const tagPacketInfo& packet);
template <class T>
uint16_t ChecksumOf(const T& record);
int SendRaw(const std::array<uint8_t, BLOCK_RESET_LEN>& bytes, const sockaddr_in& client);

}  // namespace

int SendBlockReset(const tagPacketInfo* pPacket) {
    if (!pPacket) return 2;
    sockaddr_in client{};
    client.sin_family = AF_INET;
    client.sin_port = htons(pPacket->nSrcPort);
    client.sin_addr.s_addr = pPacket->nSrcAddr;

    // A worker cancelled in between would leave the socket open for good.
    int nCancelState;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &nCancelState);
    const int nResult = SendRaw(BuildBlockReset(*pPacket), client);
    pthread_setcancelstate(nCancelState, nullptr);
    return nResult;
}

std::array<uint8_t, BLOCK_RESET_LEN> BuildBlockReset(const tagPacketInfo& packet) {
    tagResetPacket reset{BuildIPHeader(packet), BuildTCPHeader(packet)};
    reset.ip.check = ChecksumOf(reset.ip);
    const tagSignedSegment segment{reset.ip.saddr, reset.ip.daddr,           0,
                                   IPPROTO_TCP,    htons(sizeof(reset.tcp)), reset.tcp};
    reset.tcp.check = ChecksumOf(segment);

    std::array<uint8_t, BLOCK_RESET_LEN> bytes;
    std::memcpy(bytes.data(), &reset, sizeof reset);
    return bytes;
}

namespace {

iphdr BuildIPHeader(const tagPacketInfo& packet) {
    iphdr ip{};
    ip.version = IPVERSION;
    ip.ihl = sizeof ip / 4;
    ip.tot_len = htons(BLOCK_RESET_LEN);
    ip.frag_off = htons(IP_DF);
    ip.ttl = IPDEFTTL;
    ip.protocol = IPPROTO_TCP;
    ip.saddr = packet.nDstAddr;
    ip.daddr = packet.nSrcAddr;
    return ip;
}

tcphdr BuildTCPHeader(const tagPacketInfo& packet) {
    tcphdr queued;
    std::memcpy(&queued, packet.pPacket + packet.nIPHeaderLen, sizeof queued);
    tcphdr reset{};
    reset.source = queued.dest;
    reset.dest = queued.source;
    reset.doff = sizeof reset / 4;
    reset.rst = 1;
    reset.window = htons(static_cast<uint16_t>(ntohs(queued.window) << 7));
    if (queued.ack) {
        reset.seq = queued.ack_seq;
    } else {
        reset.ack_seq = htonl(ntohl(queued.seq) + packet.nDataLen + queued.syn + queued.fin);
        reset.ack = 1;
    }
    return reset;
}

template <class T>
uint16_t ChecksumOf(const T& record) {
    return InternetChecksum(reinterpret_cast<const uint8_t*>(&record), sizeof record, 0);
}

int SendRaw(const std::array<uint8_t, BLOCK_RESET_LEN>& bytes, const sockaddr_in& client) {
    const int fd = socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_TCP);
    if (fd < 0) return -1;
    const int nHeaderIncluded = 1;
    const int nSetUp = setsockopt(fd, IPPROTO_IP, IP_HDRINCL, &nHeaderIncluded, sizeof nHeaderIncluded);
    if (nSetUp == 0) {
        (void)sendto(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&client),
                     sizeof client);
    }
    close(fd);
    return nSetUp == 0 ? 0 : -1;
}

}  // namespace
