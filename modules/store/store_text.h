// Texts on their way into and out of the store. Keeps no state; any thread.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

// The longest result of DecodeWideText for a field of nUnits units, with its NUL.
constexpr size_t DecodedSize(size_t nUnits) {
    return 3 * (nUnits - 1) + 1;
}

// Length in bytes of the character at the start of a text that is not empty; 0 when it is no valid UTF-8 (RFC
// 3629) or a control character.
size_t PlainCharacter(std::string_view text);

// 1: valid UTF-8 without control characters, so that it can be shown and written to JSON as it is.
int IsPlainText(std::string_view text);

// Turns a wide field (it ends at its NUL or its last unit) into plain UTF-8, NUL-terminated, cut at a
// character to what szTo holds. Units up to 0x7F and from 0xFF80 on are bytes that were widened as signed
// values, the others are UTF-16. A byte that is part of no valid UTF-8, or of a control character, becomes
// %XX.
void DecodeWideText(std::span<char> szTo, std::span<const char16_t> wszFrom);
