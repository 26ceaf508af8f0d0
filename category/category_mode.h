// The category mode: which back end categorises URLs, and so by which numbers categories go. Leaf header:
// modules that give the daemon category ids have to give those of its mode.
#pragma once

#include <cstdint>

#include "common/export.h"

// Every other value is CATENGINE_SERVER too.
enum : uint8_t { CATENGINE_LIBRARY = 0, CATENGINE_LIBRARY_KV = 1, CATENGINE_SERVER = 2 };

// Shared by name with libraries loaded into the process. Written on the main thread at start-up, before there
// are settings or workers; any thread reads.
extern "C" {
extern WEBSEC_API uint8_t g_bUseCatServer;  // CATENGINE_*
}

constexpr bool IsLibraryMode(uint8_t nMode) {
    return nMode == CATENGINE_LIBRARY || nMode == CATENGINE_LIBRARY_KV;
}

// The mode that websec.cfg asks for (section ServiceConfigurations, key catEngine): its low byte, or
// CATENGINE_LIBRARY when it says nothing. Does not set it. The daemon's own.
uint8_t ReadCategoryMode();
