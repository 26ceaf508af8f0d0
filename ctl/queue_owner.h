// Who reads a netfilter queue: the kernel's list of bound queues names the netlink port of the reader, the
// list of netlink sockets its socket, and the open files of the processes the reader itself.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

constexpr char QUEUE_LIST_FILE[] = "/proc/net/netfilter/nfnetlink_queue";

// A line of that file (seq_show in net/netfilter/nfnetlink_queue.c).
struct tagBoundQueue {
    uint32_t nQueueNum;
    uint32_t nPortId;         // netlink port of the reader
    uint32_t nWaiting;        // packets that wait for a verdict
    uint32_t nQueueDropped;   // dropped because the queue was full
    uint32_t nSocketDropped;  // dropped because the reader's socket was full
    uint32_t nPackets;        // handed over so far
};

// All queues that the file's text tells of; lines that are none are left out.
std::vector<tagBoundQueue> ParseBoundQueues(std::string_view text);

// The inode of the netfilter netlink socket with that port, in the text of /proc/net/netlink
// (netlink_native_seq_show in net/netlink/af_netlink.c); nothing when there is none.
std::optional<uint64_t> FindNetlinkInode(std::string_view text, uint32_t nPortId);

struct tagQueueOwner {
    tagBoundQueue queue;
    pid_t pid;         // 0 when the process cannot be seen: no rights, or another pid namespace
    std::string name;  // of the process, with pid
};

// The queues that are bound in this network namespace, each with its owner. Throws CtlError when the
// kernel's list may not be read.
std::vector<tagQueueOwner> FindQueueOwners();
