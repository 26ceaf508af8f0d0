#include "ctl/visible_text.h"

#include <locale.h>
#include <wchar.h>

#include <algorithm>

#include "ctl/output.h"
#include "modules/store/store_text.h"

namespace {

// Widths are the C library's, whatever locale the administrator has. Without these tables nothing outside
// ASCII counts as visible.
class CharacterTables {
  public:
    CharacterTables() : m_previous(uselocale(Tables())) {}
    ~CharacterTables() { uselocale(m_previous); }
    CharacterTables(const CharacterTables&) = delete;
    CharacterTables& operator=(const CharacterTables&) = delete;

  private:
    // Loaded once, kept until the end; null (which uselocale passes over) when there are none.
    static locale_t Tables() {
        static const locale_t tables = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        return tables;
    }

    locale_t m_previous;
};

size_t CharacterLength(std::string_view text);
wchar_t ReadCharacter(std::string_view character);
bool IsSilent(wchar_t character);
int CharacterWidth(std::string_view character);

}  // namespace

std::string VisibleText(std::string_view text, bool bUtf8) {
    const CharacterTables tables;
    std::string shown;
    while (!text.empty()) {
        const std::string_view character = text.substr(0, CharacterLength(text));
        const bool bVisible = bUtf8 && PlainCharacter(text) > 1 && CharacterWidth(character) >= 0;
        shown += bVisible ? std::string(character) : Printable(character);
        text.remove_prefix(character.size());
    }
    return shown;
}

size_t DisplayWidth(std::string_view text) {
    const CharacterTables tables;
    size_t nWidth = 0;
    for (; !text.empty(); text.remove_prefix(CharacterLength(text))) {
        nWidth += static_cast<size_t>(std::max(0, CharacterWidth(text.substr(0, CharacterLength(text)))));
    }
    return nWidth;
}

std::string FitText(std::string_view text, size_t nWidth, bool bUtf8) {
    if (DisplayWidth(text) <= nWidth) return std::string(text);
    const std::string_view dots = bUtf8 ? "…" : "...";
    const size_t nDots = bUtf8 ? 1 : dots.size();
    if (nWidth < nDots) return std::string(nWidth, '.');
    const CharacterTables tables;
    size_t nKept = 0;
    for (size_t nTaken = 0; nKept < text.size();) {
        const std::string_view character = text.substr(nKept, CharacterLength(text.substr(nKept)));
        nTaken += static_cast<size_t>(std::max(0, CharacterWidth(character)));
        if (nTaken > nWidth - nDots) break;
        nKept += character.size();
    }
    return std::string(text.substr(0, nKept)).append(dots);
}

namespace {

// One byte where none begins.
size_t CharacterLength(std::string_view text) {
    return std::max(PlainCharacter(text), size_t{1});
}

// -1 for what does not show.
int CharacterWidth(std::string_view character) {
    const wchar_t wide = ReadCharacter(character);
    return IsSilent(wide) ? -1 : wcwidth(wide);
}

wchar_t ReadCharacter(std::string_view character) {
    mbstate_t state{};
    wchar_t wide = 0;
    const size_t nRead = mbrtowc(&wide, character.data(), character.size(), &state);
    return nRead == character.size() ? wide : L'\1';
}

// Zero-width blanks and joiners, line separators, and the marks that turn the direction of what follows.
bool IsSilent(wchar_t character) {
    struct tagRange {
        wchar_t first, last;
    };
    constexpr tagRange SILENT[] = {{0x00AD, 0x00AD}, {0x061C, 0x061C}, {0x180E, 0x180E},
                                   {0x200B, 0x200F}, {0x2028, 0x202E}, {0x2060, 0x206F},
                                   {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB}, {0xE0000, 0xE0FFF}};
    return std::ranges::any_of(
        SILENT, [=](const tagRange& range) { return character >= range.first && character <= range.last; });
}

}  // namespace
