// Byte patterns in buffers and in files. Part of the interface that plug-ins reach by name; keeps no state,
// any thread.
#pragma once

#include "common/export.h"

extern "C" {

// The offset of the pattern's first occurrence, or -1: not found, null, an empty buffer or an empty pattern.
WEBSEC_API long SearchFor(const unsigned char* buffer, unsigned int length, const unsigned char* pattern,
                          unsigned int patternLength);

// The file position of the pattern's first occurrence at or after offset, letter case in the file ignored:
// the file is seen in upper case, so the pattern must come in upper case. -1: not found, fd -1, null, a
// negative offset, or the file cannot be read. Patterns longer than 2,042 bytes are found in the first
// 2,048 bytes only. Moves the file's position.
WEBSEC_API long SearchInFile(int fd, const unsigned char* pattern, unsigned int patternLength, long offset);
}
