// How websecctl speaks: for people, aligned and short; with --json one document for programs. Answers go to
// standard output, warnings and refusals to standard error, so that a program reads only the document.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// Keeps the order in which the keys were written.
using Json = nlohmann::ordered_json;

// A refusal or a failure, in words for the administrator. main prints it and ends with status 1.
class CtlError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Set once from the command line, before a command runs.
struct tagOutputOptions {
    bool bJson;
};
extern tagOutputOptions g_OutputOptions;

// The document as UTF-8 text, with nIndent blanks for each level, or on one line for -1. Bytes that are no
// UTF-8 give U+FFFD.
std::string JsonText(const Json& document, int nIndent);

// One answer: the document with --json, else the text with a line end behind it.
void PrintAnswer(const Json& document, const std::string& text);

// On standard error: "websecctl: warning: ...", or with --json {"warning": "..."} on a line of its own.
void PrintWarning(std::string_view text);

// On standard error: "websecctl: ..." with the advice, if any, on the next line, or with --json
// {"error": "..."}.
void PrintError(std::string_view text, std::string_view advice);

// "1 name", "2 names"; the plural where it is no mere s.
std::string Counted(uint64_t n, std::string_view noun, std::string_view plural = "");

// The parts in one text, with the separator between any two.
std::string Joined(const std::vector<std::string>& parts, std::string_view separator);

// The rows with their columns aligned, two blanks between; no blanks at line ends, no line end behind the
// last.
std::string AlignColumns(const std::vector<std::vector<std::string>>& rows);

// Text from a file, a list or a command line as it may be shown on a terminal: control characters and bytes
// outside ASCII as \xHH.
std::string Printable(std::string_view text);

// Printable, in single quotes and cut to a length that fits a message.
std::string Quoted(std::string_view text);
