// Bounded copies into the fixed text fields of records. The destination is taken by reference, so its size is
// never typed by hand; the result is always NUL-terminated.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

// Copies `from` into szTo, cut to N - 1 bytes. Returns 0, or 1 when the text was cut. `from` may overlap
// szTo.
template <size_t N>
int CopyText(char (&szTo)[N], std::string_view from) {
    const size_t nCopied = std::min(from.size(), N - 1);
    if (nCopied != 0) std::memmove(szTo, from.data(), nCopied);
    szTo[nCopied] = '\0';
    return nCopied == from.size() ? 0 : 1;
}

// Widens a NUL-terminated text into wszTo, each byte as a signed value, cut to N - 1 units. The rest of the
// field is left as it is. Returns 0, or 1 when the text was cut.
template <size_t N>
int WidenText(char16_t (&wszTo)[N], const char* szFrom) {
    size_t n = 0;
    for (; n < N - 1 && szFrom[n] != '\0'; ++n) {
        wszTo[n] = static_cast<char16_t>(static_cast<signed char>(szFrom[n]));
    }
    wszTo[n] = u'\0';
    return szFrom[n] == '\0' ? 0 : 1;
}

// Narrows a NUL-terminated wide text of at most nUnits units into szTo: each unit becomes its low byte; the
// text ends at the first unit whose low byte is 0 and is cut to N - 1 bytes.
template <size_t N>
void NarrowText(char (&szTo)[N], const char16_t* wszFrom, size_t nUnits) {
    size_t n = 0;
    while (n < N - 1 && n < nUnits && static_cast<char>(wszFrom[n] & 0xFF) != '\0') {
        szTo[n] = static_cast<char>(wszFrom[n] & 0xFF);
        ++n;
    }
    szTo[n] = '\0';
}
