// What a store of 500 slots must lose that is filled linearly, starts over only once it has been emptied, and
// whose receiver drops a packet and rests a second when it is full, while the kernel holds 1,024 packets and
// drops the others. Simulated for packets that come at given times; nothing else disturbs it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

struct tagStoreModel {
    int64_t nReceiveUs;  // what one packet costs the receiver
    int64_t nJudgeUs;    // what one packet costs a worker
    int nProcessors;     // how many workers get on at a time
};

// arrivals: microseconds, in order. Returns the numbers of those that are lost.
std::vector<size_t> FindModelLosses(const tagStoreModel& model, const std::vector<int64_t>& arrivals);
