#include "ctl/traffic_watch.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <thread>

#include "ctl/daemon_process.h"
#include "ctl/output.h"
#include "ctl/traffic_page.h"

namespace {

constexpr int LINES_PER_HEADING = 20;

void PrintHeading();
void PrintSecond(const tagTrafficReading& before, const tagTrafficReading& now);

}  // namespace

void WatchTraffic() {
    const auto daemon = FindDaemon();
    if (!daemon) throw CtlError("websec is not running");
    const auto page = TrafficPage::Open(TRAFFIC_PAGE_FILE, daemon->pid);
    if (!page) throw CtlError("websec counts its traffic only with LiveTraffic=1 in websec.cfg");
    tagTrafficReading before = page->Read();
    for (int nLine = 0;; ++nLine) {
        if (nLine % LINES_PER_HEADING == 0) PrintHeading();
        std::this_thread::sleep_for(std::chrono::seconds(1));
        const tagTrafficReading now = page->Read();
        PrintSecond(before, now);
        if (std::fflush(stdout) != 0) return;
        before = now;
        if (kill(daemon->pid, 0) != 0) throw CtlError("websec has ended");
    }
}

namespace {

void PrintHeading() {
    if (g_OutputOptions.bJson) return;
    std::printf("%9s %9s %9s %9s %9s %9s\n", "PACKETS", "DROPPED", "UNJUDGED", "WAITING", "OVERRUNS",
                "US EACH");
}

void PrintSecond(const tagTrafficReading& before, const tagTrafficReading& now) {
    if (g_OutputOptions.bJson) {
        std::printf("%s\n", JsonText(TrafficDocument(now), -1).c_str());
        return;
    }
    const auto more = [&](uint8_t nCounter) {
        return static_cast<unsigned long long>(now[nCounter] - before[nCounter]);
    };
    std::printf("%9llu %9llu %9llu %9llu %9llu %9.1f\n", more(COUNT_PACKETS), more(COUNT_DROPPED),
                static_cast<unsigned long long>(UnjudgedOf(now) - UnjudgedOf(before)),
                static_cast<unsigned long long>(now[COUNT_STORE_DEPTH]), more(COUNT_KERNEL_OVERRUN),
                MeanLookupMicroseconds(before, now));
}

}  // namespace
