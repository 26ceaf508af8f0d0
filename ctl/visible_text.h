// Text of unknown origin as it may be shown on a terminal or a page, and how much room it takes.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// What does not show as a character of its own stands as \xHH for each byte: control characters, what is no
// valid UTF-8, characters without a glyph, and those that turn the direction of writing or join silently.
// Without bUtf8 everything outside ASCII does.
std::string VisibleText(std::string_view text, bool bUtf8);

// The columns that visible text takes on a terminal: 2 for wide characters, 0 for combining ones.
size_t DisplayWidth(std::string_view text);

// Visible text that is wider than nWidth, cut to it, with an ellipsis at its end: one character with bUtf8,
// else three dots.
std::string FitText(std::string_view text, size_t nWidth, bool bUtf8);
