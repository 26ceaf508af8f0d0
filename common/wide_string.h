// Wide text: arrays of 16-bit units that end at their first 0 unit. Part of the interface that plug-ins reach
// by name; works on its arguments only, any thread.
//
// Destinations need room for what is written into them, the terminator included; counts are in units.
// Comparisons give -1, 0 or 1 over unsigned units; a text that ends first is the lesser; a null argument
// gives 1. Every other function answers a null argument with null (a length with 0) and changes nothing.
#pragma once

#include "common/export.h"

extern "C" {

WEBSEC_API unsigned int my_wcslen(const char16_t* text);

// These give their destination.
WEBSEC_API char16_t* my_wcscpy(char16_t* dst, const char16_t* src);
WEBSEC_API char16_t* my_wcscat(char16_t* dst, const char16_t* src);
// At most n units of src, then a terminator: up to n + 1 units are written.
WEBSEC_API char16_t* my_wcsncpy(char16_t* dst, const char16_t* src, unsigned int n);
WEBSEC_API char16_t* my_wcsncat(char16_t* dst, const char16_t* src, unsigned int n);

// First and last occurrence of a unit; the terminator is never found.
WEBSEC_API char16_t* my_wcschr(const char16_t* text, char16_t unit);
WEBSEC_API char16_t* my_wcsrchr(const char16_t* text, char16_t unit);
// First place of the whole pattern; the text itself for an empty pattern.
WEBSEC_API char16_t* my_wcsstr(const char16_t* text, const char16_t* pattern);

WEBSEC_API int my_wcscmp(const char16_t* a, const char16_t* b);
WEBSEC_API int my_wcsncmp(const char16_t* a, const char16_t* b, unsigned int n);
// b is 8-bit text, each byte taken as a signed value.
WEBSEC_API int my_wcscscmp(const char16_t* a, const char* b);
// Case is folded by clearing bit 0x20 of every unit, letter or not.
WEBSEC_API int my_wcsicmp(const char16_t* a, const char16_t* b);
WEBSEC_API int my_wcsnicmp(const char16_t* a, const char16_t* b, unsigned int n);

// In place, giving the text. Only ASCII letters change case.
WEBSEC_API char16_t* my_wcsrev(char16_t* text);
WEBSEC_API char16_t* my_wcslwr(char16_t* text);
WEBSEC_API char16_t* my_wcsupr(char16_t* text);
WEBSEC_API char16_t* my_wcsset(char16_t* text, char16_t unit);
WEBSEC_API char16_t* my_wcsnset(char16_t* text, char16_t unit, unsigned int n);

// Buffers of n units; 0 is a unit like any other.
WEBSEC_API char16_t* my_wmemchr(const char16_t* buffer, char16_t unit, unsigned int n);
WEBSEC_API int my_wmemcmp(const char16_t* a, const char16_t* b, unsigned int n);
WEBSEC_API char16_t* my_wmemcpy(char16_t* dst, const char16_t* src, unsigned int n);
WEBSEC_API char16_t* my_wmemmove(char16_t* dst, const char16_t* src, unsigned int n);  // may overlap
WEBSEC_API char16_t* my_wmemset(char16_t* buffer, char16_t unit, unsigned int n);
}
