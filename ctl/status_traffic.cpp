// The part of websecctl status that is about the traffic: what the daemon counts with LiveTraffic 1.
#include <linux/netfilter/nfnetlink_queue.h>

#include "ctl/status.h"
#include "ctl/traffic_page.h"

namespace {

struct tagChannelFlag {
    uint32_t nFlag;
    const char* szWithout;  // what it means that the kernel refused it
};
constexpr tagChannelFlag CHANNEL_FLAGS[] = {
    {NFQA_CFG_F_GSO,
     "the kernel cuts packets to segments before websec sees them: large requests take longer to judge"},
    {NFQA_CFG_F_FAIL_OPEN, "the kernel drops what comes while its queue is full, instead of letting it pass"},
    {NFQA_CFG_F_UID_GID,
     "the kernel does not tell whose packets they are: of connections with the same ports the first one's "
     "user is reported"},
};

}  // namespace

void AddTraffic(tagStatus& status, const std::optional<tagDaemonProcess>& daemon) {
    if (!daemon) return;
    const auto page = TrafficPage::Open(TRAFFIC_PAGE_FILE, daemon->pid);
    if (!page) {
        status.document["traffic"] = nullptr;
        return;
    }
    const tagTrafficReading reading = page->Read();
    status.document["traffic"] = TrafficDocument(reading);
    for (auto& row : TrafficRows(reading))
        status.rows.push_back(std::move(row));
    for (const auto& flag : CHANNEL_FLAGS) {
        if ((reading[COUNT_CHANNEL_FLAGS] & flag.nFlag) == 0) status.problems.push_back(flag.szWithout);
    }
}
