// The life of the service: start-up in a fixed order, the wait for its end, and every way out.
#pragma once

// Detaches, brings the service up, waits until the queue receiver ends by itself, and takes everything down.
// Returns the exit status: 0 after an orderly end; 1 when detaching failed; the error number when the packet
// store's mutex cannot be made; -1 when another step failed. SIGTERM ends the process from its handler
// instead. Called once, from the entry point.
int RunService();

// Stops the category engine where it is the daemon's to stop: in the library modes, and only when it runs.
void StopRunningCategoryEngine();
