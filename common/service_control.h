// System services through their init scripts. Part of the interface that plug-ins reach by name; any thread.
#pragma once

#include "common/export.h"

enum : int { SERVICE_START = 1, SERVICE_RESTART = 2, SERVICE_STOP = 3, SERVICE_STATUS = 4 };

enum : unsigned int { SERVICE_NO_SCRIPT = 120, SERVICE_BAD_ACTION = 121 };

extern "C" {

// Runs the service's script, /etc/init.d/rc.d/NAME or else /etc/init.d/NAME, and waits for its end. Gives 1
// when it was run, whatever its exit status, with *error 0; else 0 with one of the codes above. Nothing
// happens (0) when error is null. The name goes to the shell as it is: it must come from a trusted place.
WEBSEC_API int HandleService(const char* service, int action, unsigned int* error);
}
