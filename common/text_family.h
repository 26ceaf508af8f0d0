// What the 16-bit and the 8-bit text functions have in common, over the unit type (char16_t or char). Texts
// end at their first 0 unit. Each template answers null arguments as both families promise: 1 from a
// comparison, else null (0 for a length) with nothing changed.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace detail {

constexpr size_t NO_LIMIT = SIZE_MAX;

// A byte widens as a signed value; a wide unit narrows to its low 8 bits.
template <class To, class From>
constexpr To ConvertUnit(From c) {
    if constexpr (sizeof(From) < sizeof(To)) {
        return static_cast<To>(static_cast<std::make_signed_t<From>>(c));
    } else {
        return static_cast<To>(c);
    }
}

constexpr auto WIDENED = [](auto c) -> unsigned { return ConvertUnit<char16_t>(c); };

// Not letters only: '@' and '`' fold together too, and a blank folds to 0.
constexpr auto FOLDED = [](auto c) -> unsigned { return std::make_unsigned_t<decltype(c)>(c) & ~0x20U; };

template <class Unit>
size_t TextLength(const Unit* pText) {
    size_t n = 0;
    if (pText) {
        while (pText[n] != 0)
            ++n;
    }
    return n;
}

// The end is tested before a unit is valued, because folding may turn a unit into 0.
template <class A, class B, class Value>
int CompareTexts(const A* pA, const B* pB, size_t nLimit, Value value) {
    if (!pA || !pB) return 1;
    for (size_t i = 0; i < nLimit; ++i) {
        if (pA[i] == 0 || pB[i] == 0) return pA[i] != 0 ? 1 : pB[i] != 0 ? -1 : 0;
        const unsigned a = value(pA[i]);
        const unsigned b = value(pB[i]);
        if (a != b) return a < b ? -1 : 1;
    }
    return 0;
}

// Copies at most nLimit units of pFrom, then a terminator.
template <class To, class From>
To* CopyUnits(To* pTo, const From* pFrom, size_t nLimit = NO_LIMIT) {
    if (!pTo || !pFrom) return nullptr;
    size_t n = 0;
    for (; n < nLimit && pFrom[n] != 0; ++n)
        pTo[n] = ConvertUnit<To>(pFrom[n]);
    pTo[n] = 0;
    return pTo;
}

// The same, behind the text that pTo holds.
template <class To, class From>
To* AppendUnits(To* pTo, const From* pFrom, size_t nLimit = NO_LIMIT) {
    if (!pTo || !pFrom) return nullptr;
    CopyUnits(pTo + TextLength(pTo), pFrom, nLimit);
    return pTo;
}

template <class Unit>
Unit* FindText(const Unit* pText, const Unit* pPattern) {
    if (!pText || !pPattern) return nullptr;
    const Unit* pEnd = pText + TextLength(pText);
    const Unit* pFound = std::search(pText, pEnd, pPattern, pPattern + TextLength(pPattern));
    return pFound == pEnd && *pPattern != 0 ? nullptr : const_cast<Unit*>(pFound);
}

template <class Unit>
Unit* ReverseText(Unit* pText) {
    if (pText) std::reverse(pText, pText + TextLength(pText));
    return pText;
}

// Replaces at most nLimit units before the terminator by map(unit).
template <class Unit, class Map>
Unit* MapText(Unit* pText, size_t nLimit, Map map) {
    if (!pText) return nullptr;
    for (size_t i = 0; i < nLimit && pText[i] != 0; ++i)
        pText[i] = map(pText[i]);
    return pText;
}

}  // namespace detail
