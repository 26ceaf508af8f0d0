// How far a mistyped word is from one that was meant.
#pragma once

#include <cstddef>
#include <string_view>

// How many letters must be added, left out or replaced to make one of the other.
size_t EditDistance(std::string_view a, std::string_view b);
