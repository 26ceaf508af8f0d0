#include "ctl/queue_owner.h"

#include <dirent.h>
#include <linux/netlink.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <sstream>
#include <vector>

#include "ctl/output.h"
#include "ctl/proc_file.h"
#include "ctl/read_file.h"

namespace {

constexpr char NETLINK_LIST_FILE[] = "/proc/net/netlink";

void NameOwner(tagQueueOwner& owner, const std::string& netlinkSockets);
bool HoldsSocket(pid_t pid, const std::string& socketName);

}  // namespace

std::vector<tagQueueOwner> FindQueueOwners() {
    const auto queues = ReadTextFile(QUEUE_LIST_FILE);
    if (!queues) {
        if (errno == ENOENT) return {};  // the kernel has no such queues
        throw CtlError(std::string("cannot read ") + QUEUE_LIST_FILE + ": " + std::strerror(errno));
    }
    const std::string sockets = ReadTextFile(NETLINK_LIST_FILE).value_or("");
    std::vector<tagQueueOwner> owners;
    for (const auto& queue : ParseBoundQueues(*queues)) {
        owners.push_back({queue, 0, {}});
        NameOwner(owners.back(), sockets);
    }
    return owners;
}

std::vector<tagBoundQueue> ParseBoundQueues(std::string_view text) {
    std::vector<tagBoundQueue> queues;
    std::istringstream lines{std::string(text)};
    for (std::string line; std::getline(lines, line);) {
        std::istringstream columns(line);
        tagBoundQueue queue{};
        uint32_t nCopyMode = 0, nCopyRange = 0;
        columns >> queue.nQueueNum >> queue.nPortId >> queue.nWaiting >> nCopyMode >> nCopyRange >>
            queue.nQueueDropped >> queue.nSocketDropped >> queue.nPackets;
        if (columns) queues.push_back(queue);
    }
    return queues;
}

std::optional<uint64_t> FindNetlinkInode(std::string_view text, uint32_t nPortId) {
    std::istringstream lines{std::string(text)};
    for (std::string line; std::getline(lines, line);) {
        std::istringstream columns(line);
        std::string socket, skipped;
        uint64_t nProtocol = 0, nPort = 0, nInode = 0;
        columns >> socket >> nProtocol >> nPort;
        for (int i = 0; i < 6; ++i)
            columns >> skipped;  // groups, memory, dump, locks, drops
        columns >> nInode;
        if (columns && nProtocol == NETLINK_NETFILTER && nPort == nPortId) return nInode;
    }
    return std::nullopt;
}

namespace {

void NameOwner(tagQueueOwner& owner, const std::string& netlinkSockets) {
    const auto inode = FindNetlinkInode(netlinkSockets, owner.queue.nPortId);
    if (!inode) return;
    const std::string socketName = "socket:[" + std::to_string(*inode) + "]";
    for (const pid_t pid : ListProcesses()) {
        if (!HoldsSocket(pid, socketName)) continue;
        owner.pid = pid;
        owner.name = ReadTextFile(ProcPath(pid, "comm")).value_or("");
        while (owner.name.ends_with('\n'))
            owner.name.pop_back();
        return;
    }
}

bool HoldsSocket(pid_t pid, const std::string& socketName) {
    const std::string folder = ProcPath(pid, "fd");
    const std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(folder.c_str()), closedir);
    while (const dirent* pEntry = dir ? readdir(dir.get()) : nullptr) {
        if (ReadProcLink(folder + "/" + pEntry->d_name) == socketName) return true;
    }
    return false;
}

}  // namespace
