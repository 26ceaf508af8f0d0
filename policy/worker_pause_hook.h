// How a worker that must change what all workers read keeps the others out. The workers belong to a folder
// above this one, so whoever starts them sets these hooks; null: there is nobody else to pause.
//
// Set on the main thread before the workers start. Called by a worker that holds its own lock, with its
// cancellation switched off.
#pragma once

// Gives up the caller's own worker lock, then takes all worker locks in index order. On return no other
// worker is in the decision flow, and what was read before the call may have changed.
extern void (*g_pfnPauseWorkersFromWorker)();

// Gives back all worker locks but the caller's own.
extern void (*g_pfnResumeWorkersFromWorker)();
