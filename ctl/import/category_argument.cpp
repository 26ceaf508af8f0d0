#include "ctl/import/category_argument.h"

#include <algorithm>
#include <numeric>
#include <string_view>
#include <vector>

#include "category/category_table.h"
#include "ctl/output.h"

namespace {

std::string NearCategories(std::string_view name);
bool IsNear(std::string_view name, std::string_view category);
size_t EditDistance(std::string_view a, std::string_view b);
std::string Letters(std::string_view name);

}  // namespace

uint8_t CategoryArgument(const std::string& name) {
    const uint8_t nCategory = FindCategory(name);
    if (nCategory != NO_CATEGORY) return nCategory;
    const std::string near = NearCategories(name);
    throw CtlError("there is no category " + Quoted(name) +
                   (near.empty() ? "" : "; did you mean " + near + "?") +
                   " 'websecctl category list' shows them all");
}

namespace {

std::string NearCategories(std::string_view name) {
    constexpr size_t NEAR_MAX = 4;
    std::vector<std::string_view> near;
    const auto consider = [&](std::string_view candidate, uint8_t nCategory) {
        const std::string_view category = CATEGORY_TABLE[nCategory].szName;
        const bool bNew = std::find(near.begin(), near.end(), category) == near.end();
        if (bNew && near.size() < NEAR_MAX && IsNear(name, candidate)) near.push_back(category);
    };
    for (const auto& category : CATEGORY_TABLE)
        consider(category.szName, category.nId);
    for (const auto& alias : CATEGORY_ALIASES)
        consider(alias.szListName, alias.nId);
    return std::accumulate(near.begin(), near.end(), std::string(), [](const auto& text, auto category) {
        return text + (text.empty() ? "'" : ", '") + std::string(category) + "'";
    });
}

// A part of it, or a slip or two away.
bool IsNear(std::string_view name, std::string_view category) {
    const std::string letters = Letters(name), other = Letters(category);
    if (letters.size() < 3) return false;
    return other.find(letters) != other.npos || EditDistance(letters, other) <= 2;
}

size_t EditDistance(std::string_view a, std::string_view b) {
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t nDiagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t nChanged = nDiagonal + (a[i - 1] != b[j - 1]);
            nDiagonal = row[j];
            row[j] = std::min({nChanged, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

std::string Letters(std::string_view name) {
    std::string letters;
    while (const char c = NextNameChar(name))
        letters += c;
    return letters;
}

}  // namespace
