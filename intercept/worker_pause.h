// Keeping every worker out of the decision flow while what they read there is replaced.
//
// Two threads may want that at the same time: the main thread for a reload or refresh, and a worker for the
// settings load of the first FTP address match. They queue on a lock of their own before they take the
// workers' locks in index order, so that neither meets a worker lock that the other is about to make anew.
#pragma once

// Starts all workers; none of them can pause the others before all are there. Returns how many failed; the
// service runs with the rest. Main thread, at start-up.
int StartAllWorkers();

// How long a packet may keep a reload with LiveTraffic 1 waiting.
constexpr int PAUSE_WAIT_SECONDS = 12;

// Re-creates each worker that has ended, and takes its lock: on return of true no worker is in the decision
// flow. A worker that cannot be re-created stays ended. False, with nothing paused, when with LiveTraffic 1 a
// packet is judged for longer than that, whoever waits for it: the main thread must be able to stop. Main
// thread, with the control signals blocked.
[[nodiscard]] bool PauseWorkers();

// Lets the workers go on. Main thread, after PauseWorkers.
void ResumeWorkers();

// The same for a worker in the midst of its own packet: gives up its lock, then takes all four.
void PauseOtherWorkers();

// Gives back all locks but the calling worker's own. After PauseOtherWorkers.
void ResumeOtherWorkers();

// Before a worker takes its lock for a packet: returns once nobody is about to take the locks of all, which
// with LiveTraffic 1 takes 5 ms at most. A cancellation point. Worker.
void LetPauseBegin();
