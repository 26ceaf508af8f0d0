#include "common/narrow_string.h"

#include <cctype>
#include <cstring>

#include "common/ascii.h"
#include "common/text_family.h"

unsigned int my_strlen(const char* text) {
    return static_cast<unsigned int>(detail::TextLength(text));
}

int my_stricmp(const char* a, const char* b) {
    return detail::CompareTexts(a, b, detail::NO_LIMIT, detail::FOLDED);
}

int my_strnicmp(const char* a, const char* b, unsigned int n) {
    return detail::CompareTexts(a, b, n, detail::FOLDED);
}

char* my_strstr(const char* text, const char* pattern) {
    return detail::FindText(text, pattern);
}

char* my_strrev(char* text) {
    return detail::ReverseText(text);
}

char* My_StrLwr(char* text) {
    return detail::MapText(text, detail::NO_LIMIT, AsciiLower<char>);
}

char* My_StrUpr(char* text) {
    return detail::MapText(text, detail::NO_LIMIT, AsciiUpper<char>);
}

char* my_strupr(char* text) {
    return My_StrUpr(text);
}

int strUpr(char* text, int n) {
    for (int i = 0; text && i < n; ++i) {
        text[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[i])));
    }
    return 1;
}

char* TrimRight(char* text) {
    for (size_t n = detail::TextLength(text); n != 0 && IsBlank(text[n - 1]); --n)
        text[n - 1] = '\0';
    return text;
}

char* TrimLeft(char* text) {
    if (!text) return nullptr;
    const char* pFirst = text;
    while (IsBlank(*pFirst))
        ++pFirst;
    std::memmove(text, pFirst, detail::TextLength(pFirst) + 1);
    return text;
}
