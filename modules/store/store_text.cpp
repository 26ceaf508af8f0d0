#include "modules/store/store_text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace {
constexpr size_t FIELD_UNITS_MAX = 1024;  // of the widest field of any record

size_t EncodeUnit(char16_t unit, char* pTo);
}  // namespace

int IsPlainText(std::string_view text) {
    while (!text.empty()) {
        const size_t nLen = PlainCharacter(text);
        if (nLen == 0) return 0;
        text.remove_prefix(nLen);
    }
    return 1;
}

size_t PlainCharacter(std::string_view text) {
    const auto byte = [&](size_t n) { return static_cast<uint8_t>(text[n]); };
    const uint8_t nFirst = byte(0);
    if (nFirst < 0x80) return nFirst >= 0x20 && nFirst != 0x7F;
    const size_t nLen = nFirst >= 0xF0 ? 4 : nFirst >= 0xE0 ? 3 : 2;
    if (nFirst < 0xC2 || nFirst > 0xF4 || text.size() < nLen) return 0;
    uint32_t nCharacter = nFirst & (0x7Fu >> nLen);
    for (size_t n = 1; n < nLen; ++n) {
        if ((byte(n) & 0xC0) != 0x80) return 0;
        nCharacter = nCharacter << 6 | (byte(n) & 0x3F);
    }
    constexpr uint32_t SMALLEST[] = {0, 0, 0xA0, 0x800, 0x10000};  // below 0xA0: control characters
    if (nCharacter < SMALLEST[nLen] || nCharacter > 0x10FFFF) return 0;
    return nCharacter >= 0xD800 && nCharacter <= 0xDFFF ? 0 : nLen;
}

void DecodeWideText(std::span<char> szTo, std::span<const char16_t> wszFrom) {
    std::array<char, 3 * FIELD_UNITS_MAX> bytes;
    size_t nBytes = 0;
    for (const char16_t unit : wszFrom.first(std::min(wszFrom.size(), FIELD_UNITS_MAX))) {
        if (unit == u'\0') break;
        nBytes += EncodeUnit(unit, bytes.data() + nBytes);
    }
    size_t nOut = 0;
    for (std::string_view rest(bytes.data(), nBytes); !rest.empty();) {
        constexpr char HEX[] = "0123456789ABCDEF";
        const size_t nPlain = PlainCharacter(rest);
        const auto byte = static_cast<uint8_t>(rest[0]);
        const char escape[3] = {'%', HEX[byte >> 4], HEX[byte & 0xF]};
        const std::string_view piece = nPlain ? rest.substr(0, nPlain) : std::string_view(escape, 3);
        if (piece.size() >= szTo.size() - nOut) break;
        std::memcpy(&szTo[nOut], piece.data(), piece.size());
        nOut += piece.size();
        rest.remove_prefix(std::max(nPlain, size_t{1}));
    }
    szTo[nOut] = '\0';
}

namespace {
// At most three bytes. Halves of surrogate pairs give what is no valid UTF-8 and are escaped later.
size_t EncodeUnit(char16_t unit, char* pTo) {
    if (unit < 0x80 || unit >= 0xFF80) {
        pTo[0] = static_cast<char>(unit & 0xFF);
        return 1;
    }
    if (unit < 0x800) {
        pTo[0] = static_cast<char>(0xC0 | unit >> 6);
        pTo[1] = static_cast<char>(0x80 | (unit & 0x3F));
        return 2;
    }
    pTo[0] = static_cast<char>(0xE0 | unit >> 12);
    pTo[1] = static_cast<char>(0x80 | (unit >> 6 & 0x3F));
    pTo[2] = static_cast<char>(0x80 | (unit & 0x3F));
    return 3;
}
}  // namespace
