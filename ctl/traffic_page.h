// The daemon's traffic counters (common/traffic_counters.h), read while it writes them.
#pragma once

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/traffic_counters.h"
#include "ctl/output.h"

using tagTrafficReading = std::array<uint64_t, COUNTERS>;

// A page that stays readable; as long as its writer lives the numbers move.
class TrafficPage {
  public:
    // Nothing when the process nPid has no page: it counts only with LiveTraffic 1.
    static std::optional<TrafficPage> Open(const char* szFile, pid_t nPid);
    TrafficPage(TrafficPage&& other) noexcept;
    ~TrafficPage();

    tagTrafficReading Read() const;

  private:
    explicit TrafficPage(const tagTrafficCounters* pPage) : m_pPage(pPage) {}
    const tagTrafficCounters* m_pPage;
};

// Every counter by its name.
Json TrafficDocument(const tagTrafficReading& reading);

// Sums over what belongs together, and the mean time of one look-up in between two readings.
uint64_t UnjudgedOf(const tagTrafficReading& reading);
double MeanLookupMicroseconds(const tagTrafficReading& before, const tagTrafficReading& after);

// Rows of a table: what, in words.
std::vector<std::vector<std::string>> TrafficRows(const tagTrafficReading& reading);
