// What the three control signals do. The handlers run on the main thread only, which then waits in the join
// on the receiver and holds no lock: every other thread keeps the signals blocked. They never overlap.
#pragma once

// SIGHUP: loads the policy settings anew; with a protection on, also refreshes and starts the category engine
// and, when the internet options changed, restarts it and rebuilds the rules. The workers are paused
// meanwhile.
void OnReloadSignal(int);

// SIGUSR2: refreshes the category engine, and unloads and loads the scanner plug-in and the built-in tables.
// The workers are paused meanwhile.
void OnRefreshSignal(int);

// SIGTERM: shuts everything down and ends the process with status 0.
[[noreturn]] void OnStopSignal(int);

// Around the joining of threads: one that a module's call does not let go keeps the process no longer than
// JOIN_SECONDS, which then takes the rules away and ends with status 0 as it stands. Main thread.
constexpr unsigned int JOIN_SECONDS = 5;
void LimitJoins();
void LiftLimit();

// The reload's internet-options step: when the options changed, stops the category engine and, with port
// lists in use, removes the rules, reads the configuration again and installs them. Keeps the queue number
// that the receiver serves: rules for a queue that nobody reads would cut the host off. Returns 0.
int ReloadInetOptionsAndRules();
