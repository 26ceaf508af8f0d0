#include "intercept/verdict_batch.h"

#include <libmnl/libmnl.h>
#include <pthread.h>

#include <array>
#include <cstring>

#include "common/cancellation_off.h"

namespace {
pthread_mutex_t s_Lock = PTHREAD_MUTEX_INITIALIZER;
std::array<uint8_t, VERDICT_BATCH * QUEUE_MSG_BYTES> s_Bytes;
uint32_t s_nBytes = 0;
uint32_t s_nVerdicts = 0;

void SendLocked(const tagQueueReceiver& receiver);
}  // namespace

void GatherVerdict(const tagQueueReceiver& receiver, const tagPacketInfo& packet) {
    tagQueueMsgBuffer buffer;
    const nlmsghdr* pMessage = MakeVerdict(buffer, receiver, packet);
    if (!pMessage) return;
    pthread_mutex_lock(&s_Lock);
    std::memcpy(s_Bytes.data() + s_nBytes, pMessage, pMessage->nlmsg_len);
    s_nBytes += NLMSG_ALIGN(pMessage->nlmsg_len);
    if (++s_nVerdicts == VERDICT_BATCH) SendLocked(receiver);
    pthread_mutex_unlock(&s_Lock);
}

void SendGatheredVerdicts(const tagQueueReceiver& receiver) {
    pthread_mutex_lock(&s_Lock);
    SendLocked(receiver);
    pthread_mutex_unlock(&s_Lock);
}

namespace {
void SendLocked(const tagQueueReceiver& receiver) {
    if (s_nBytes == 0) return;
    const CancellationOff cancellationOff;
    (void)mnl_socket_sendto(receiver.pSocket, s_Bytes.data(), s_nBytes);
    s_nBytes = s_nVerdicts = 0;
}
}  // namespace
