// Categories that somebody may have meant by a name that is none.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// The names of up to three categories, the nearest first: those whose own name, or a public list's name for
// them, holds the text or differs from it by few letters. Case and punctuation do not matter. None when
// nothing is near.
std::vector<std::string> SuggestCategories(std::string_view name);
