#include "ctl/queue_owner.h"

#include <fcntl.h>
#include <dirent.h>
#include <linux/netlink.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <sstream>
#include <vector>

#include "ctl/output.h"
#include "ctl/proc_file.h"

namespace {

constexpr char QUEUE_LIST_FILE[] = "/proc/net/netfilter/nfnetlink_queue";
constexpr char NETLINK_LIST_FILE[] = "/proc/net/netlink";

bool HoldsSocket(pid_t pid, const std::string& socketName);

}  // namespace

std::optional<tagQueueOwner> FindQueueOwner(uint32_t nQueueNum) {
    const auto queues = ReadProcText(QUEUE_LIST_FILE);
    if (!queues) {
        if (errno == ENOENT) return std::nullopt;  // the kernel has no such queues
        throw CtlError(std::string("cannot read ") + QUEUE_LIST_FILE + ": " + std::strerror(errno));
    }
    const auto queue = FindBoundQueue(*queues, nQueueNum);
    if (!queue) return std::nullopt;
    tagQueueOwner owner{*queue, 0, {}};
    const auto sockets = ReadProcText(NETLINK_LIST_FILE);
    const auto inode = sockets ? FindNetlinkInode(*sockets, queue->nPortId) : std::nullopt;
    if (!inode) return owner;
    const std::string socketName = "socket:[" + std::to_string(*inode) + "]";
    for (const pid_t pid : ListProcesses()) {
        if (!HoldsSocket(pid, socketName)) continue;
        owner.pid = pid;
        owner.name = ReadProcText(ProcPath(pid, "comm")).value_or("");
        while (owner.name.ends_with('\n')) owner.name.pop_back();
        break;
    }
    return owner;
}

std::optional<tagBoundQueue> FindBoundQueue(std::string_view text, uint32_t nQueueNum) {
    std::istringstream lines{std::string(text)};
    for (std::string line; std::getline(lines, line);) {
        std::istringstream columns(line);
        tagBoundQueue queue{};
        uint32_t nNumber = 0, nCopyMode = 0, nCopyRange = 0;
        columns >> nNumber >> queue.nPortId >> queue.nWaiting >> nCopyMode >> nCopyRange >>
            queue.nQueueDropped >> queue.nSocketDropped;
        if (columns && nNumber == nQueueNum) return queue;
    }
    return std::nullopt;
}

std::optional<uint64_t> FindNetlinkInode(std::string_view text, uint32_t nPortId) {
    std::istringstream lines{std::string(text)};
    for (std::string line; std::getline(lines, line);) {
        std::istringstream columns(line);
        std::string socket, skipped;
        uint64_t nProtocol = 0, nPort = 0, nInode = 0;
        columns >> socket >> nProtocol >> nPort;
        for (int i = 0; i < 6; ++i) columns >> skipped;  // groups, memory, dump, locks, drops
        columns >> nInode;
        if (columns && nProtocol == NETLINK_NETFILTER && nPort == nPortId) return nInode;
    }
    return std::nullopt;
}

namespace {

bool HoldsSocket(pid_t pid, const std::string& socketName) {
    const std::string folder = ProcPath(pid, "fd");
    const std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(folder.c_str()), closedir);
    while (const dirent* pEntry = dir ? readdir(dir.get()) : nullptr) {
        if (ReadProcLink(folder + "/" + pEntry->d_name) == socketName) return true;
    }
    return false;
}

}  // namespace
