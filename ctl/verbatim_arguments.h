// Arguments that reach the commands just as they were typed. The parser takes one such as "[a,b]" for several
// where an option may have several.
#pragma once

#include <CLI/CLI.hpp>

// Parses the command line with app, to which all commands were added. Throws CLI::ParseError.
void ParseVerbatim(CLI::App& app, int argc, const char* const* argv);
