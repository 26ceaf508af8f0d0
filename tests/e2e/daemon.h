// The daemon under test. It detaches from the process that starts it; the test program is made the reaper of
// all processes below it, so the detached child ends here and its exit status can be read.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

constexpr char DAEMON[] = "/usr/sbin/websec";
constexpr int NOT_ENDED = -1;
// main thread, receiver, four workers, rule watchdog
constexpr size_t ALL_THREADS = 7;

struct tagDaemon {
    int nParentStatus = NOT_ENDED;  // of the process that was started; the detached child's parent
    pid_t pid = 0;                  // the detached child; 0 when there is none
};

// Starts it without waiting for anything but the detaching. `prefix` runs it: "setpriv ..." or "valgrind
// ...".
tagDaemon LaunchDaemon(const std::string& prefix = "");
// Starts it and waits until it works: the control signals are let in and the watchdog has made its first
// pass. Fails the test when that does not come about.
tagDaemon StartDaemon(const std::string& prefix = "");

// Once these hold they hold until the end: handlers installed (signals still kept back); signals let in.
bool HasHandlers(pid_t pid);
bool LetsSignalsIn(pid_t pid);

// Its exit status, 128 + signal when it was killed, or NOT_ENDED after that time.
int AwaitEnd(tagDaemon& daemon, int nMilliseconds = 3000);
// SIGTERM, then the same.
int StopDaemon(tagDaemon& daemon, int nMilliseconds = 10000);

// SIGSTOP, and waits until every thread has stopped: until then one may still take a packet.
void HoldDaemon(const tagDaemon& daemon);

size_t ThreadCount(pid_t pid);
size_t DescriptorCount(pid_t pid);

// One of COUNT_* (common/traffic_counters.h), which are kept with LiveTraffic 1.
uint64_t Count(uint8_t nCounter);

// Stops and collects what is left; kills what does not stop. False when one did not end with status 0.
bool StopLeftDaemons();
