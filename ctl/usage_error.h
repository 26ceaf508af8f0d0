// What is wrong with a command line, in words for the administrator.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

// For the error that parsing with app ended in. Names a word that stands where a command should, and the
// command that is nearest to it; any other error in the parser's own words.
std::string UsageErrorText(const CLI::App& app, const CLI::ParseError& error);
