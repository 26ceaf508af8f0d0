#include "bench/rig/store_model.h"

#include <algorithm>
#include <deque>
#include <functional>
#include <queue>

namespace {

constexpr int SLOTS = 500;
constexpr size_t KERNEL_QUEUE = 1024;  // packets without a verdict, wherever they are
constexpr int64_t REST_US = 1'000'000;

using tagTimes = std::priority_queue<int64_t, std::vector<int64_t>, std::greater<>>;

struct tagState {
    tagTimes busyUntil;          // one for each worker that gets on
    tagTimes verdicts;           // when the packets get theirs that were given to a worker
    std::deque<int64_t> stored;  // when the packets came into the store that still wait there
    int nFilled = 0;             // slots written since the store was empty
};

// Gives stored packets to workers as far as they come free until then.
void TakeUntil(tagState& state, const tagStoreModel& model, int64_t nNow) {
    while (!state.stored.empty()) {
        const int64_t nStart = std::max(state.busyUntil.top(), state.stored.front());
        if (nStart > nNow) return;
        state.busyUntil.pop();
        state.busyUntil.push(nStart + model.nJudgeUs);
        state.verdicts.push(nStart + model.nJudgeUs);
        state.stored.pop_front();
        if (state.stored.empty()) state.nFilled = 0;
    }
}

}  // namespace

std::vector<size_t> FindModelLosses(const tagStoreModel& model, const std::vector<int64_t>& arrivals) {
    tagState state;
    for (int n = 0; n < model.nProcessors; ++n)
        state.busyUntil.push(0);
    std::deque<size_t> queued;  // numbers of those in the kernel, not received yet
    int64_t nReceiverFree = 0;
    std::vector<size_t> lost;

    const auto ReceiveUntil = [&](int64_t nNow) {
        while (!queued.empty() && std::max(nReceiverFree, arrivals[queued.front()]) <= nNow) {
            const size_t nNumber = queued.front();
            const int64_t nTime = std::max(nReceiverFree, arrivals[nNumber]) + model.nReceiveUs;
            queued.pop_front();
            TakeUntil(state, model, nTime);
            nReceiverFree = nTime;
            if (state.nFilled == SLOTS) {
                lost.push_back(nNumber);
                nReceiverFree += REST_US;
                continue;
            }
            state.stored.push_back(nTime);
            ++state.nFilled;
        }
        TakeUntil(state, model, nNow);
        while (!state.verdicts.empty() && state.verdicts.top() <= nNow)
            state.verdicts.pop();
    };
    for (size_t nNumber = 0; nNumber < arrivals.size(); ++nNumber) {
        ReceiveUntil(arrivals[nNumber]);
        if (queued.size() + state.stored.size() + state.verdicts.size() < KERNEL_QUEUE) {
            queued.push_back(nNumber);
        } else {
            lost.push_back(nNumber);
        }
    }
    ReceiveUntil(INT64_MAX);
    return lost;
}
