// Between 8-bit and 16-bit text, unit by unit; no character set is involved. Part of the interface that
// plug-ins reach by name; works on its arguments only, any thread.
//
// dst needs room for the whole text and its terminator. Each gives dst, or null, changing nothing, when an
// argument is null.
#pragma once

#include "common/export.h"

extern "C" {

// Each byte becomes a unit, widened as a signed value: 0x80 to 0xFF become 0xFF80 to 0xFFFF.
WEBSEC_API char16_t* CopySZToWSZ(char16_t* dst, const char* src);
WEBSEC_API char16_t* CatSZToWSZ(char16_t* dst, const char* src);  // behind the text in dst

// Each unit becomes its low 8 bits. A unit such as 0x0100 leaves a NUL inside; what follows is still written.
WEBSEC_API char* CopyWSZToSZ(char* dst, const char16_t* src);
WEBSEC_API char* CatWSZToSZ(char* dst, const char16_t* src);  // behind the text in dst
}
