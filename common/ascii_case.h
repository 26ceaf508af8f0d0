// Comparisons that fold the letters A to Z and nothing else, whatever the locale: host names, header names
// and the texts of data files are ASCII where case does not matter, and any other byte stands for itself.
#pragma once

#include <algorithm>
#include <string_view>

inline char FoldASCII(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

inline bool SameFolded(char a, char b) {
    return FoldASCII(a) == FoldASCII(b);
}

inline bool EqualNoCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), SameFolded);
}

// Position of the first occurrence of `what` in `text`, or npos. An empty `what` is found at 0.
inline size_t FindNoCase(std::string_view text, std::string_view what) {
    const auto found = std::search(text.begin(), text.end(), what.begin(), what.end(), SameFolded);
    return found == text.end() && !what.empty() ? std::string_view::npos
                                                : static_cast<size_t>(found - text.begin());
}
