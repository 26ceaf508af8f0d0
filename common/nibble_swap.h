// A scrambler that keeps text from being read at a glance; it protects nothing. Part of the interface that
// plug-ins reach by name; any thread.
#pragma once

#include "common/export.h"

extern "C" {

// Both swap the halves of each of the first n bytes in place, so each undoes the other. Null is left alone.
WEBSEC_API void Encrypt(unsigned char* buffer, int n);
WEBSEC_API void Decrypt(unsigned char* buffer, int n);
}
