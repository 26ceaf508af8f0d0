#include "ctl/category_suggestions.h"

#include <algorithm>
#include <array>
#include <numeric>

#include "category/category_table.h"
#include "ctl/edit_distance.h"

namespace {

constexpr size_t SUGGESTIONS_MAX = 3;
constexpr size_t PART_LETTERS_MIN = 3;  // shorter texts occur in too many names
constexpr size_t FAR = 1000;

std::string Letters(std::string_view name);
size_t Distance(const std::string& text, const std::string& name);

}  // namespace

std::vector<std::string> SuggestCategories(std::string_view name) {
    const std::string text = Letters(name.substr(0, 100));
    std::array<size_t, CATEGORY_COUNT> distances;
    for (const tagCategory& category : CATEGORY_TABLE)
        distances[category.nId] = Distance(text, Letters(category.szName));
    for (const tagCategoryAlias& alias : CATEGORY_ALIASES)
        distances[alias.nId] = std::min(distances[alias.nId], Distance(text, Letters(alias.szListName)));

    std::array<size_t, CATEGORY_COUNT> order;
    std::iota(order.begin(), order.end(), size_t{0});
    std::stable_sort(order.begin(), order.end(),
                     [&](size_t a, size_t b) { return distances[a] < distances[b]; });
    std::vector<std::string> names;
    for (const size_t n : order) {
        if (distances[n] == FAR || names.size() == SUGGESTIONS_MAX) break;
        names.emplace_back(CATEGORY_TABLE[n].szName);
    }
    return names;
}

namespace {

std::string Letters(std::string_view name) {
    std::string letters;
    while (const char c = NextNameChar(name))
        letters += c;
    return letters;
}

// A part of a name is as near as one wrong letter.
size_t Distance(const std::string& text, const std::string& name) {
    const bool bPart = text.size() >= PART_LETTERS_MIN && name.find(text) != name.npos;
    const size_t nEdits = EditDistance(text, name);
    if (nEdits <= text.size() / 3) return nEdits;
    return bPart ? 1 : FAR;
}

}  // namespace
