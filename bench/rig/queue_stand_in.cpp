// Stands in for the daemon at its queue and judges nothing: a yardstick that shares no code with it.
//
//     queue_stand_in bare LIVE     one loop that receives a packet and accepts it at once
//     queue_stand_in floor         a hand-off like the daemon's with LiveTraffic 0: a receiver, a store of
//     500
//                                  slots, a semaphore, and four workers, each under a lock of its own
//
// LIVE is 0 or 1: the kernel is asked for what the daemon asks for with that LiveTraffic, so that a packet
// costs it the same. An accepted packet leaves no mark, like one that holds a whole request: the rules of
// LiveTraffic 1 then treat its connection as they do the daemon's. Ends by a signal.
#include <arpa/inet.h>
#include <libmnl/libmnl.h>
#include <linux/netfilter.h>
#include <linux/netfilter/nfnetlink.h>
#include <linux/netfilter/nfnetlink_queue.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

namespace {

constexpr int STORE_SLOTS = 500;
constexpr uint32_t SLOT_BYTES = 8192;
constexpr int WORKERS = 4;

// What the daemon asks for.
constexpr int PLAIN_BUFFER_BYTES = 4 << 20;
constexpr int LIVE_BUFFER_BYTES = 16 << 20;
constexpr uint32_t PLAIN_COPY_RANGE = 65535;
constexpr uint32_t LIVE_COPY_RANGE = SLOT_BYTES - 256;
constexpr uint32_t LIVE_FLAGS = NFQA_CFG_F_GSO | NFQA_CFG_F_FAIL_OPEN | NFQA_CFG_F_UID_GID;
constexpr uint32_t LIVE_QUEUE_LENGTH = 65535;

struct tagSlot {
    uint32_t nLength;
    alignas(nlmsghdr) uint8_t message[SLOT_BYTES];
};

mnl_socket* g_pSocket;

// The floor's. Filled linearly, from the beginning again once it has been emptied.
tagSlot g_Slots[STORE_SLOTS];
int g_nHead = -1, g_nTail = -1;
pthread_mutex_t g_StoreLock = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t g_WorkerLocks[WORKERS];
sem_t g_Waiting;

void OpenQueue(bool bLive);
nlmsghdr* StartMessage(void* pBuffer, uint8_t nKind);
void Send(const nlmsghdr* pMessage);
void SendCommand(uint8_t nCommand);
void SendNumber(uint16_t nAttribute, uint32_t nNumber);
void SendFlags(uint32_t nFlags);
void SendCopyRange(uint32_t nBytes);
void Receive(tagSlot& slot, size_t nRoom);
void Answer(uint32_t nId, uint32_t nVerdict);
int ReadId(const nlattr* pAttribute, void* pId);
int TakeId(const nlmsghdr* pMessage, void* pId);
uint32_t IdOf(const tagSlot& slot);
bool Push(const tagSlot& slot);
bool Pop(tagSlot& slot);
void* Work(void* pLock);

[[noreturn]] void RunBare() {
    const auto pSlot = std::make_unique<tagSlot>();
    for (;;) {
        Receive(*pSlot, sizeof pSlot->message);
        Answer(IdOf(*pSlot), NF_ACCEPT);
    }
}

[[noreturn]] void RunFloor() {
    sem_init(&g_Waiting, 0, 0);
    for (pthread_mutex_t& lock : g_WorkerLocks) {
        pthread_mutex_init(&lock, nullptr);
        pthread_t thread;
        pthread_create(&thread, nullptr, Work, &lock);
    }
    const auto pSlot = std::make_unique<tagSlot>();
    for (;;) {
        Receive(*pSlot, MNL_SOCKET_BUFFER_SIZE);
        if (Push(*pSlot)) {
            sem_post(&g_Waiting);
        } else {
            Answer(IdOf(*pSlot), NF_DROP);
            sleep(1);
        }
    }
}

void* Work(void* pLock) {
    const auto pSlot = std::make_unique<tagSlot>();
    for (;;) {
        (void)sem_wait(&g_Waiting);
        if (!Pop(*pSlot)) continue;
        pthread_mutex_lock(static_cast<pthread_mutex_t*>(pLock));
        const uint32_t nId = IdOf(*pSlot);
        pthread_mutex_unlock(static_cast<pthread_mutex_t*>(pLock));
        Answer(nId, NF_ACCEPT);
    }
}

void CopySlot(tagSlot& to, const tagSlot& from) {
    to.nLength = from.nLength;
    std::memcpy(to.message, from.message, from.nLength);
}

bool Push(const tagSlot& slot) {
    pthread_mutex_lock(&g_StoreLock);
    const bool bRoom = g_nTail + 1 < STORE_SLOTS;
    if (bRoom) {
        if (g_nHead == -1) g_nHead = 0;
        CopySlot(g_Slots[++g_nTail], slot);
    }
    pthread_mutex_unlock(&g_StoreLock);
    return bRoom;
}

bool Pop(tagSlot& slot) {
    pthread_mutex_lock(&g_StoreLock);
    const bool bFound = g_nHead != -1;
    if (bFound) {
        CopySlot(slot, g_Slots[g_nHead]);
        if (g_nHead++ == g_nTail) g_nHead = g_nTail = -1;
    }
    pthread_mutex_unlock(&g_StoreLock);
    return bFound;
}

void OpenQueue(bool bLive) {
    g_pSocket = mnl_socket_open(NETLINK_NETFILTER);
    if (!g_pSocket || mnl_socket_bind(g_pSocket, 0, MNL_SOCKET_AUTOPID) < 0) {
        std::perror("queue_stand_in");
        std::exit(1);
    }
    const int fd = mnl_socket_get_fd(g_pSocket);
    (void)setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &PLAIN_BUFFER_BYTES, sizeof PLAIN_BUFFER_BYTES);
    SendCommand(NFQNL_CFG_CMD_BIND);
    if (bLive) {
        (void)setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &LIVE_BUFFER_BYTES, sizeof LIVE_BUFFER_BYTES);
        SendFlags(LIVE_FLAGS);
        SendNumber(NFQA_CFG_QUEUE_MAXLEN, LIVE_QUEUE_LENGTH);
    }
    SendCopyRange(bLive ? LIVE_COPY_RANGE : PLAIN_COPY_RANGE);
}

// Message buffers are zeroed and have room for any message here.
using tagMessage = uint8_t[64];

nlmsghdr* StartMessage(void* pBuffer, uint8_t nKind) {
    nlmsghdr* pMessage = mnl_nlmsg_put_header(pBuffer);
    pMessage->nlmsg_type = static_cast<uint16_t>(NFNL_SUBSYS_QUEUE << 8 | nKind);
    pMessage->nlmsg_flags = NLM_F_REQUEST;
    (void)mnl_nlmsg_put_extra_header(pMessage, sizeof(nfgenmsg));  // queue 0
    return pMessage;
}

void Send(const nlmsghdr* pMessage) {
    (void)mnl_socket_sendto(g_pSocket, pMessage, pMessage->nlmsg_len);
}

void SendCommand(uint8_t nCommand) {
    alignas(nlmsghdr) tagMessage buffer{};
    nlmsghdr* pMessage = StartMessage(buffer, NFQNL_MSG_CONFIG);
    nfqnl_msg_config_cmd command{};
    command.command = nCommand;
    command.pf = htons(AF_INET);
    mnl_attr_put(pMessage, NFQA_CFG_CMD, sizeof command, &command);
    Send(pMessage);
}

void SendNumber(uint16_t nAttribute, uint32_t nNumber) {
    alignas(nlmsghdr) tagMessage buffer{};
    nlmsghdr* pMessage = StartMessage(buffer, NFQNL_MSG_CONFIG);
    mnl_attr_put_u32(pMessage, nAttribute, htonl(nNumber));
    Send(pMessage);
}

void SendFlags(uint32_t nFlags) {
    alignas(nlmsghdr) tagMessage buffer{};
    nlmsghdr* pMessage = StartMessage(buffer, NFQNL_MSG_CONFIG);
    mnl_attr_put_u32(pMessage, NFQA_CFG_FLAGS, htonl(nFlags));
    mnl_attr_put_u32(pMessage, NFQA_CFG_MASK, htonl(nFlags));
    Send(pMessage);
}

void SendCopyRange(uint32_t nBytes) {
    alignas(nlmsghdr) tagMessage buffer{};
    nlmsghdr* pMessage = StartMessage(buffer, NFQNL_MSG_CONFIG);
    const nfqnl_msg_config_params params{htonl(nBytes), NFQNL_COPY_PACKET};
    mnl_attr_put(pMessage, NFQA_CFG_PARAMS, sizeof params, &params);
    Send(pMessage);
}

// What the kernel had no room for is its affair.
void Receive(tagSlot& slot, size_t nRoom) {
    ssize_t nBytes;
    do {
        nBytes = mnl_socket_recvfrom(g_pSocket, slot.message, nRoom);
    } while (nBytes < 0 && errno == ENOBUFS);
    if (nBytes <= 0) {
        std::perror("queue_stand_in");
        std::exit(1);
    }
    slot.nLength = static_cast<uint32_t>(nBytes);
}

uint32_t IdOf(const tagSlot& slot) {
    uint32_t nId = 0;
    (void)mnl_cb_run(slot.message, slot.nLength, 0, mnl_socket_get_portid(g_pSocket), TakeId, &nId);
    return nId;
}

int TakeId(const nlmsghdr* pMessage, void* pId) {
    return mnl_attr_parse(pMessage, sizeof(nfgenmsg), ReadId, pId);
}

// The id stands in the first attribute.
int ReadId(const nlattr* pAttribute, void* pId) {
    if (mnl_attr_get_type(pAttribute) != NFQA_PACKET_HDR) return MNL_CB_OK;
    nfqnl_msg_packet_hdr header;
    std::memcpy(&header, mnl_attr_get_payload(pAttribute), sizeof header);
    *static_cast<uint32_t*>(pId) = ntohl(header.packet_id);
    return MNL_CB_STOP;
}

void Answer(uint32_t nId, uint32_t nVerdict) {
    if (nId == 0) return;
    alignas(nlmsghdr) tagMessage buffer{};
    nlmsghdr* pMessage = StartMessage(buffer, NFQNL_MSG_VERDICT);
    const nfqnl_msg_verdict_hdr verdict{htonl(nVerdict), htonl(nId)};
    mnl_attr_put(pMessage, NFQA_VERDICT_HDR, sizeof verdict, &verdict);
    Send(pMessage);
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view what = argc > 1 ? argv[1] : "";
    if (what == "bare" && argc == 3) {
        OpenQueue(argv[2][0] == '1');
        RunBare();
    }
    if (what == "floor" && argc == 2) {
        OpenQueue(false);
        RunFloor();
    }
    std::fprintf(stderr, "queue_stand_in bare 0|1\nqueue_stand_in floor\n");
    return 2;
}
