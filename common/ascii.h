// Letter case and white space by the ASCII table alone, whatever the locale says: host names, header names
// and the texts of data files are ASCII where case does not matter, and any other byte stands for itself.
// Leaf header.
#pragma once

#include <algorithm>
#include <string_view>

template <class Unit>
constexpr Unit AsciiLower(Unit c) {
    return c >= 'A' && c <= 'Z' ? static_cast<Unit>(c + ('a' - 'A')) : c;
}

template <class Unit>
constexpr Unit AsciiUpper(Unit c) {
    return c >= 'a' && c <= 'z' ? static_cast<Unit>(c - ('a' - 'A')) : c;
}

// Space, tab, newline, vertical tab, form feed, carriage return.
constexpr bool IsBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// The text without blanks at its ends.
constexpr std::string_view TrimBlanks(std::string_view text) {
    while (!text.empty() && IsBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

constexpr bool SameNoCase(char a, char b) {
    return AsciiLower(a) == AsciiLower(b);
}

inline bool EqualNoCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), SameNoCase);
}

// Position of the first occurrence of `what` in `text`, or npos. An empty `what` is found at 0.
inline size_t FindNoCase(std::string_view text, std::string_view what) {
    const auto found = std::search(text.begin(), text.end(), what.begin(), what.end(), SameNoCase);
    return found == text.end() && !what.empty() ? std::string_view::npos
                                                : static_cast<size_t>(found - text.begin());
}
