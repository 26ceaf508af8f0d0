// The category engine: which back end categorises a URL, and whether the engine library is up.
//
// The product's category-filter status, a protected data file, says whether the library is to run. It runs in
// all three modes: in server mode it still maps the server's ids.
#pragma once

#include <cstdint>

#include "category/category_mode.h"
#include "category/webcat_library.h"
#include "common/export.h"

// Shared by name with libraries loaded into the process. Written on the main thread, with the workers held
// or not yet started; any thread reads.
extern "C" {
extern WEBSEC_API uint8_t g_bCTFunctionalityMode;  // 1 while the engine library is initialised
}

// Whether categories come from the engine library, else from the category server. Any thread.
inline bool UsesEngineLibrary() {
    return IsLibraryMode(g_bUseCatServer);
}

// Starts the engine library when the status is 1, shuts it down when the status is 0, and changes nothing on
// any other (category_status.h). Without a readable status it is started. A library that does not initialise
// stays down until the next start. Returns 0. Main thread, while no worker looks up.
int StartCategoryEngine();
int StartCategoryEngineFrom(const char* szStatusFile);  // the same by another status file

// Shuts the engine library down, whether or not it is up. Main thread, while no worker looks up.
void StopCategoryEngine();
