// Letter case and white space by the ASCII table alone, whatever the locale says. Leaf header.
#pragma once

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
