// Lines appended to a log file. Part of the interface that plug-ins reach by name; any thread.
#pragma once

#include "common/export.h"

extern "C" {

// Appends the text and a newline to the file, made when missing; afterwards anyone may read and write it
// (0666). Null arguments and a file that cannot be opened are passed over in silence.
WEBSEC_API void WriteToLog(const char* path, const char* text);
}
