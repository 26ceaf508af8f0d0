#include "ctl/traffic_page.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <span>
#include <utility>

namespace {

struct tagCounterName {
    uint8_t nCounter;
    const char* szKey;    // in JSON
    const char* szWords;  // behind the number; null: told in another way
};

constexpr tagCounterName BLOCKED[] = {
    {COUNT_BLOCKED_LIST, "list", "by the block list"},
    {COUNT_BLOCKED_PHISHING, "phishing", "as phishing"},
    {COUNT_BLOCKED_HARMFUL, "harmful", "as harmful"},
    {COUNT_BLOCKED_CATEGORY, "category", "by category"},
};

constexpr tagCounterName UNJUDGED[] = {
    {COUNT_UNJUDGED_NO_NAME, "no_name", "naming no server"},
    {COUNT_UNJUDGED_DAMAGED, "damaged", "unreadable"},
    {COUNT_UNJUDGED_INCOMPLETE, "incomplete", "incomplete"},
    {COUNT_UNJUDGED_TOO_LONG, "too_long", "too long"},
    {COUNT_UNJUDGED_STORE_FULL, "store_full", "while no place was free"},
};

Json GroupDocument(const tagTrafficReading& reading, std::span<const tagCounterName> group);
std::string GroupText(const tagTrafficReading& reading, std::span<const tagCounterName> group);

}  // namespace

std::optional<TrafficPage> TrafficPage::Open(const char* szFile, pid_t nPid) {
    const int fd = open(szFile, O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) return std::nullopt;
    struct stat status {};
    const bool bWhole = fstat(fd, &status) == 0 && status.st_size >= static_cast<off_t>(TRAFFIC_PAGE_BYTES);
    void* pPage = bWhole ? mmap(nullptr, TRAFFIC_PAGE_BYTES, PROT_READ, MAP_SHARED, fd, 0) : MAP_FAILED;
    close(fd);
    if (pPage == MAP_FAILED) return std::nullopt;
    TrafficPage page(static_cast<const tagTrafficCounters*>(pPage));
    const tagTrafficCounters& counters = *page.m_pPage;
    const bool bKnown = std::memcmp(counters.szMagic, TRAFFIC_PAGE_MAGIC, sizeof TRAFFIC_PAGE_MAGIC) == 0 &&
                        counters.nCounters == COUNTERS && counters.nPid == nPid;
    if (!bKnown) return std::nullopt;
    return page;
}

TrafficPage::TrafficPage(TrafficPage&& other) noexcept : m_pPage(std::exchange(other.m_pPage, nullptr)) {}

TrafficPage::~TrafficPage() {
    if (m_pPage) munmap(const_cast<tagTrafficCounters*>(m_pPage), TRAFFIC_PAGE_BYTES);
}

tagTrafficReading TrafficPage::Read() const {
    tagTrafficReading reading;
    for (size_t i = 0; i < reading.size(); ++i)
        reading[i] = m_pPage->counts[i].load(std::memory_order_relaxed);
    return reading;
}

Json TrafficDocument(const tagTrafficReading& reading) {
    return {{"packets", reading[COUNT_PACKETS]},
            {"accepted", reading[COUNT_ACCEPTED]},
            {"dropped", reading[COUNT_DROPPED]},
            {"blocked", GroupDocument(reading, BLOCKED)},
            {"unjudged", GroupDocument(reading, UNJUDGED)},
            {"gathered", reading[COUNT_GATHERED]},
            {"kernel_overruns", reading[COUNT_KERNEL_OVERRUN]},
            {"late_verdicts", reading[COUNT_VERDICT_LATE]},
            {"lookups", reading[COUNT_LOOKUPS]},
            {"lookup_nanoseconds", reading[COUNT_LOOKUP_NANOSECONDS]},
            {"waiting", reading[COUNT_STORE_DEPTH]},
            {"waiting_at_most", reading[COUNT_STORE_DEPTH_MAX]}};
}

uint64_t UnjudgedOf(const tagTrafficReading& reading) {
    uint64_t nUnjudged = 0;
    for (const auto& counter : UNJUDGED)
        nUnjudged += reading[counter.nCounter];
    return nUnjudged;
}

double MeanLookupMicroseconds(const tagTrafficReading& before, const tagTrafficReading& after) {
    const uint64_t nLookups = after[COUNT_LOOKUPS] - before[COUNT_LOOKUPS];
    const uint64_t nTime = after[COUNT_LOOKUP_NANOSECONDS] - before[COUNT_LOOKUP_NANOSECONDS];
    return nLookups == 0 ? 0 : static_cast<double>(nTime) / static_cast<double>(nLookups) / 1000;
}

std::vector<std::vector<std::string>> TrafficRows(const tagTrafficReading& reading) {
    const auto number = [&](uint8_t nCounter) { return std::to_string(reading[nCounter]); };
    char szMean[32];
    std::snprintf(szMean, sizeof szMean, "%.1f", MeanLookupMicroseconds({}, reading));
    return {{"packets", number(COUNT_PACKETS) + ": " + number(COUNT_ACCEPTED) + " accepted, " +
                            number(COUNT_DROPPED) + " dropped"},
            {"blocked", GroupText(reading, BLOCKED)},
            {"unjudged", GroupText(reading, UNJUDGED)},
            {"judged", number(COUNT_LOOKUPS) + " requests, " + number(COUNT_GATHERED) +
                           " of them from several segments, in " + szMean + " us each"},
            {"hand-off", number(COUNT_STORE_DEPTH) + " waiting, at most " + number(COUNT_STORE_DEPTH_MAX) +
                             "; " + number(COUNT_KERNEL_OVERRUN) + " kernel overruns, " +
                             number(COUNT_VERDICT_LATE) + " verdicts too late"}};
}

namespace {

Json GroupDocument(const tagTrafficReading& reading, std::span<const tagCounterName> group) {
    Json document = Json::object();
    for (const auto& counter : group)
        document[counter.szKey] = reading[counter.nCounter];
    return document;
}

std::string GroupText(const tagTrafficReading& reading, std::span<const tagCounterName> group) {
    std::string text;
    for (const auto& counter : group) {
        if (reading[counter.nCounter] == 0) continue;
        text +=
            (text.empty() ? "" : ", ") + std::to_string(reading[counter.nCounter]) + " " + counter.szWords;
    }
    return text.empty() ? "none" : text;
}

}  // namespace
