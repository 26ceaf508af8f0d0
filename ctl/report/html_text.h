// Texts of unknown origin inside a page.
#pragma once

#include <string>
#include <string_view>

// Safe between tags and in quoted attributes; what does not show stands as \xHH.
std::string HtmlText(std::string_view text);
