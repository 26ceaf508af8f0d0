// What judging a packet costs these days, which decides where it is done with LiveTraffic 1: waking a worker
// takes some microseconds, so what takes less is judged on the spot, and what waits for somebody is not.
#pragma once

#include <cstdint>

// One packet took that long. Any thread.
void NoteJudgingCost(uint64_t nNanoseconds);

// Whether most packets of late were judged faster than a worker wakes. Any thread.
bool IsJudgingQuick();
