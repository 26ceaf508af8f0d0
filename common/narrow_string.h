// 8-bit text: bytes that end at their first NUL. Part of the interface that plug-ins reach by name; works on
// its arguments only, any thread. Results, null arguments and case folding are as in common/wide_string.h,
// over bytes as unsigned values.
#pragma once

#include "common/export.h"

extern "C" {

WEBSEC_API unsigned int my_strlen(const char* text);

WEBSEC_API int my_stricmp(const char* a, const char* b);
WEBSEC_API int my_strnicmp(const char* a, const char* b, unsigned int n);
WEBSEC_API char* my_strstr(const char* text, const char* pattern);

// In place, giving the text. Only ASCII letters change case.
WEBSEC_API char* my_strrev(char* text);
WEBSEC_API char* My_StrLwr(char* text);
WEBSEC_API char* My_StrUpr(char* text);
WEBSEC_API char* my_strupr(char* text);

// Upper-cases n bytes, NULs among them or not, by the C library's toupper and so by the locale. Gives 1.
WEBSEC_API int strUpr(char* text, int n);

// Overwrites trailing white space with NULs; gives the text.
WEBSEC_API char* TrimRight(char* text);
// Moves the text to the start of its buffer, without its leading white space; gives the text.
WEBSEC_API char* TrimLeft(char* text);
}
