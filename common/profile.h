// Profile (INI) files: sections in square brackets and key=value lines. Part of the interface that plug-ins
// reach by name.
//
// Lines are read in pieces of at most 1023 bytes, each taken as a line of its own, and trimmed at both ends
// of space, tab, newline, vertical tab, form feed and carriage return. "#" or ";" starts a comment. "["
// starts a header; the section's name is the text up to the first "]", trimmed. In a section a line's key is
// the text before the first "=" (without "=": the whole line), its value the trimmed text behind it. Names
// and keys are compared without regard to ASCII case. The first section of a name counts, and in it the
// first line of a key. The file may hold any bytes.
//
// Of a section name, key or value from the caller the first 256 bytes count; they are tested for emptiness
// first and trimmed then, so blanks alone stand for an empty text.
//
// Any thread, but calls that read and write the same file must not overlap. A null argument makes each
// operation give -1 and change nothing, unless it says otherwise.
#pragma once

#include <cstdio>

#include "common/export.h"

enum : unsigned int {
    PROFILE_OK = 0,
    PROFILE_NO_FILE = 102,   // the file or its copy cannot be opened; when writing also: not completed
    PROFILE_NO_VALUE = 201,  // the key's line has no "="; for an integer also: nothing behind it
    PROFILE_NO_KEY = 202,    // not before the section's end, which is any line that starts with "["
    PROFILE_EMPTY_KEY = 203,
    PROFILE_NO_SECTION = 204,
    PROFILE_EMPTY_SECTION = 205,
    PROFILE_EMPTY_VALUE = 206,
};

extern "C" {

// The value's leading decimal number (sign and digits, 0 without any; beyond an int its low 32 bits), with
// *error 0. Otherwise defaultValue, with *error a code from above.
WEBSEC_API int GetPrivateProfileInt(const char* section, const char* key, int defaultValue, const char* file,
                                    unsigned int* error);

// 0: out holds the value, which may be empty, and *error is 0. -1: out holds defaultValue, *error tells why.
// out is always NUL-terminated and cut to size - 1 bytes; with size 0 nothing is written.
WEBSEC_API int GetPrivateProfileString(const char* section, const char* key, const char* defaultValue,
                                       char* out, unsigned int size, const char* file, unsigned int* error);

// Sets a value: replaces the key's first line, or adds a line at the section's end, or adds the section at
// the file's end. Lines before the new one lose the white space around them, lines behind it stay as they
// are. The file must exist. It is rewritten as FILE.tmp, with the file's permissions, which then takes its
// place in one step: on any failure the file is as it was. 0 with *error 0, or -1 with *error telling why.
WEBSEC_API int WritePrivateProfileString(const char* section, const char* key, const char* value,
                                         const char* file, unsigned int* error);

// Overwrites trailing white space with NULs and gives the first character that is not blank. Null for null.
WEBSEC_API char* Trim(char* text);

// The trimmed name in a header line, cut out in place. Null for null and for a line without "[" at its start
// or without "]".
WEBSEC_API char* GetSectionName(char* line);

// 0 when the line's key equals key, else -1. Cuts the line at its first "=" either way.
WEBSEC_API int CompareKey(char* line, const char* key);

// Appends a newline to the line, whose buffer must have room for it, and writes the line to the stream.
// Nothing happens for null.
WEBSEC_API void WriteToFile(char* line, FILE* stream);
}
