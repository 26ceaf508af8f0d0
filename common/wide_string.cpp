#include "common/wide_string.h"

#include <cstring>

#include "common/ascii.h"
#include "common/text_family.h"

unsigned int my_wcslen(const char16_t* text) {
    return static_cast<unsigned int>(detail::TextLength(text));
}

char16_t* my_wcscpy(char16_t* dst, const char16_t* src) {
    return detail::CopyUnits(dst, src);
}

char16_t* my_wcscat(char16_t* dst, const char16_t* src) {
    return detail::AppendUnits(dst, src);
}

char16_t* my_wcsncpy(char16_t* dst, const char16_t* src, unsigned int n) {
    return detail::CopyUnits(dst, src, n);
}

char16_t* my_wcsncat(char16_t* dst, const char16_t* src, unsigned int n) {
    return detail::AppendUnits(dst, src, n);
}

char16_t* my_wcschr(const char16_t* text, char16_t unit) {
    return my_wmemchr(text, unit, unit == 0 ? 0 : my_wcslen(text));
}

char16_t* my_wcsrchr(const char16_t* text, char16_t unit) {
    if (unit == 0) return nullptr;
    for (size_t n = detail::TextLength(text); n != 0; --n) {
        if (text[n - 1] == unit) return const_cast<char16_t*>(text + n - 1);
    }
    return nullptr;
}

char16_t* my_wcsstr(const char16_t* text, const char16_t* pattern) {
    return detail::FindText(text, pattern);
}

int my_wcscmp(const char16_t* a, const char16_t* b) {
    return detail::CompareTexts(a, b, detail::NO_LIMIT, detail::WIDENED);
}

int my_wcsncmp(const char16_t* a, const char16_t* b, unsigned int n) {
    return detail::CompareTexts(a, b, n, detail::WIDENED);
}

int my_wcscscmp(const char16_t* a, const char* b) {
    return detail::CompareTexts(a, b, detail::NO_LIMIT, detail::WIDENED);
}

int my_wcsicmp(const char16_t* a, const char16_t* b) {
    return detail::CompareTexts(a, b, detail::NO_LIMIT, detail::FOLDED);
}

int my_wcsnicmp(const char16_t* a, const char16_t* b, unsigned int n) {
    return detail::CompareTexts(a, b, n, detail::FOLDED);
}

char16_t* my_wcsrev(char16_t* text) {
    return detail::ReverseText(text);
}

char16_t* my_wcslwr(char16_t* text) {
    return detail::MapText(text, detail::NO_LIMIT, AsciiLower<char16_t>);
}

char16_t* my_wcsupr(char16_t* text) {
    return detail::MapText(text, detail::NO_LIMIT, AsciiUpper<char16_t>);
}

char16_t* my_wcsset(char16_t* text, char16_t unit) {
    return detail::MapText(text, detail::NO_LIMIT, [unit](char16_t) { return unit; });
}

char16_t* my_wcsnset(char16_t* text, char16_t unit, unsigned int n) {
    return detail::MapText(text, n, [unit](char16_t) { return unit; });
}

char16_t* my_wmemchr(const char16_t* buffer, char16_t unit, unsigned int n) {
    if (!buffer) return nullptr;
    const char16_t* pFound = std::find(buffer, buffer + n, unit);
    return pFound == buffer + n ? nullptr : const_cast<char16_t*>(pFound);
}

int my_wmemcmp(const char16_t* a, const char16_t* b, unsigned int n) {
    if (!a || !b) return 1;
    for (size_t i = 0; i < n; ++i) {
        if (a[i] != b[i]) return a[i] < b[i] ? -1 : 1;
    }
    return 0;
}

char16_t* my_wmemcpy(char16_t* dst, const char16_t* src, unsigned int n) {
    return my_wmemmove(dst, src, n);
}

char16_t* my_wmemmove(char16_t* dst, const char16_t* src, unsigned int n) {
    if (!dst || !src) return nullptr;
    std::memmove(dst, src, n * sizeof(char16_t));
    return dst;
}

char16_t* my_wmemset(char16_t* buffer, char16_t unit, unsigned int n) {
    if (buffer) std::fill_n(buffer, n, unit);
    return buffer;
}
