// What the profile reader and writer have in common: pieces of a file and the texts within them. Views into a
// piece live until the next one is read into its record; nothing here cuts a line in place.
#pragma once

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string_view>

constexpr size_t PROFILE_PIECE_BYTES = 1023;
constexpr size_t PROFILE_ARGUMENT_BYTES = 256;

struct tagProfileLine {
    char bytes[PROFILE_PIECE_BYTES + 1];  // as read, newline included; a NUL follows, others may be within
    size_t nBytes;
};

// A place in a profile, trimmed. The views point into the caller's arguments.
struct tagProfilePlace {
    std::string_view section;
    std::string_view key;
};

// 0, or PROFILE_EMPTY_SECTION or PROFILE_EMPTY_KEY.
unsigned int MakeProfilePlace(const char* szSection, const char* szKey, tagProfilePlace& place);

// The bytes of an argument that count, not trimmed.
std::string_view ProfileArgument(const char* szArgument);

// Reads up to and with the next newline, PROFILE_PIECE_BYTES at most. False at the end of the file and when
// it cannot be read.
bool ReadProfileLine(FILE* pFile, tagProfileLine& line);

// These take the trimmed text of a line.
bool IsCommentLine(std::string_view text);
bool IsHeaderLine(std::string_view text);
std::optional<std::string_view> SectionNameOf(std::string_view text);  // none without "[" or "]"
bool IsHeaderOf(std::string_view text, std::string_view section);
bool HasKey(std::string_view text, std::string_view key);
