// What the daemon counts about the traffic it judges. The counters stand in one page of memory that other
// processes may read while the daemon writes; each is written without a lock and is exact by itself, while
// two read one after the other may be a packet apart.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

constexpr char TRAFFIC_PAGE_DIR[] = "/run/websec";
constexpr char TRAFFIC_PAGE_FILE[] = "/run/websec/counters";
constexpr char TRAFFIC_PAGE_MAGIC[8] = {'W', 'S', 'C', 'O', 'U', 'N', 'T', '1'};
constexpr size_t TRAFFIC_PAGE_BYTES = 4096;

enum : uint8_t {
    COUNT_PACKETS,              // queue messages received
    COUNT_ACCEPTED,             // verdicts
    COUNT_DROPPED,              //
    COUNT_BLOCKED_LIST,         // blocked, by reason
    COUNT_BLOCKED_PHISHING,     //
    COUNT_BLOCKED_HARMFUL,      //
    COUNT_BLOCKED_CATEGORY,     //
    COUNT_UNJUDGED_NO_NAME,     // passed without a judgement: a hello that names no server
    COUNT_UNJUDGED_DAMAGED,     // a hello or a request that cannot be read, a checksum that is wrong
    COUNT_UNJUDGED_INCOMPLETE,  // a request whose rest never came, or came too late
    COUNT_UNJUDGED_TOO_LONG,    // a request that needs more than what is kept of one
    COUNT_UNJUDGED_STORE_FULL,  // accepted because the workers were too far behind
    COUNT_GATHERED,             // judged from several segments
    COUNT_KERNEL_OVERRUN,       // the kernel had no room for messages (ENOBUFS)
    COUNT_VERDICT_LATE,         // a verdict for a packet that was gone (ENOENT)
    COUNT_LOOKUPS,              // requests judged
    COUNT_LOOKUP_NANOSECONDS,   // what judging them took, in all
    COUNT_STORE_DEPTH,          // messages waiting for a worker; now, not in all
    COUNT_STORE_DEPTH_MAX,      // the most that ever waited
    COUNT_CHANNEL_FLAGS,        // NFQA_CFG_F_* in force on the queue; not a number of anything
    COUNT_SETTINGS_TIME,        // when the settings in force were loaded, seconds since 1970; 0: never
    COUNTERS
};

struct tagTrafficCounters {
    char szMagic[8];     // TRAFFIC_PAGE_MAGIC without terminator
    uint32_t nCounters;  // COUNTERS of the writer
    int32_t nPid;        // of the writer
    std::atomic<uint64_t> counts[COUNTERS];
};
static_assert(sizeof(tagTrafficCounters) <= TRAFFIC_PAGE_BYTES && std::atomic<uint64_t>::is_always_lock_free);

// The page in use: the process's own memory, or the shared one; never null.
extern tagTrafficCounters* g_pTrafficCounters;

// Counts from now on, going on from what was counted, into a page of szFile that other processes can read,
// made anew (mode 0644) so that a reader of an earlier one is not led astray. 0, or an error number: then the
// process's own memory stays in use. Once, before any other thread exists; the page stays mapped.
int ShareTrafficCounters(const char* szFile);

// Any thread.
inline void CountTraffic(uint8_t nCounter, uint64_t nMore = 1) {
    g_pTrafficCounters->counts[nCounter].fetch_add(nMore, std::memory_order_relaxed);
}

// For what is a state and not a number of events. One thread at a time for each counter.
inline void SetTraffic(uint8_t nCounter, uint64_t nValue) {
    g_pTrafficCounters->counts[nCounter].store(nValue, std::memory_order_relaxed);
}
