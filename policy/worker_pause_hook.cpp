#include "policy/worker_pause_hook.h"

void (*g_pfnPauseWorkersFromWorker)() = nullptr;
void (*g_pfnResumeWorkersFromWorker)() = nullptr;
