// The channel between the daemon and one netfilter queue: a NETLINK_NETFILTER socket, configured to deliver
// whole packets. The receiver thread alone receives on it; every thread may send on it without a lock, since
// each send is one complete message.
//
// With LiveTraffic 1 the kernel is asked for more: packets as the host built them, before they are cut to
// segments (GSO); to let pass what it has no room for (fail-open); the sender's uid. A kernel that refuses
// one of these does without that one. As much of each packet is delivered as surely fits the receive buffer.
#pragma once

#include <libmnl/libmnl.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <span>

#include "intercept/packet_info.h"
#include "intercept/queue_messages.h"

// Results of OpenQueueChannel.
enum { CHANNEL_NO_SOCKET = 12, CHANNEL_NO_BIND = 13, CHANNEL_NO_CONFIG = 14 };

// One receiver thread and its channel. The main thread starts and stops it; the thread itself writes nLife
// and posts semEnded as its last acts.
struct tagQueueReceiver {
    uint32_t nQueueNum;   // netfilter queue served
    pthread_t thread;     // valid while nLife is not THREAD_NONE
    mnl_socket* pSocket;  // owned; closed when no thread uses it any more
    uint32_t nPortId;     // the socket's netlink port id
    uint8_t nLife;        // THREAD_*
    sem_t semEnded;       // posted once, when the thread ends
};

// Opens, binds and configures the socket of a receiver whose queue number is set; fills pSocket and nPortId.
// 0, CHANNEL_NO_SOCKET, CHANNEL_NO_BIND or CHANNEL_NO_CONFIG; an opened socket stays in the record. What the
// kernel thinks of the requests (no rights, queue taken) arrives later on the socket; with LiveTraffic 1 it
// is known at once, and CHANNEL_NO_CONFIG. The flags then in force are shown as COUNT_CHANNEL_FLAGS.
int OpenQueueChannel(tagQueueReceiver& receiver);

// Room that any datagram of the channel needs, at most PACKET_SLOT_BYTES.
size_t ReceiveBufferBytes();

// Whether the kernel's answer (0 or a negative error number) to any request means that the queue is not, or
// no longer, ours. Any other error costs one verdict.
bool IsChannelLost(int nError);

// Sends one verdict (NF_ACCEPT or NF_DROP). The packet id 0 stands for no packet and is not answered.
void SendVerdict(const tagQueueReceiver& receiver, uint32_t nPacketId, uint32_t nVerdict);

// The same for a judged packet, with what nStreamMark asks for: an accepted packet then meets the rules again
// with one of STREAM_MARK_* added to its mark, unless others use those bits of it or nobody would read them.
void SendVerdict(const tagQueueReceiver& receiver, const tagPacketInfo& packet);

// The same as a message to be sent; it is counted as sent. Null for the packet id 0.
const nlmsghdr* MakeVerdict(tagQueueMsgBuffer& buffer, const tagQueueReceiver& receiver,
                            const tagPacketInfo& packet);

// What mnl_socket_recvfrom does, by recv, which costs the kernel less than recvmsg. With MSG_DONTWAIT only a
// message that is there already; -1 with EAGAIN when none is. Receiver, and the worker that stands in; may be
// cancelled here.
ssize_t ReceiveMessage(const tagQueueReceiver& receiver, std::span<uint8_t> buffer, int nFlags);
