#include "ctl/verbatim_arguments.h"

#include <string>
#include <vector>

namespace {

// Behind a closing bracket it keeps the parser from splitting; no argument can hold it itself.
constexpr char MARK = '\0';

void RemoveMarks(CLI::App& app);

}  // namespace

void ParseVerbatim(CLI::App& app, int argc, const char* const* argv) {
    std::vector<std::string> reversed;
    for (int i = argc - 1; i > 0; --i) {
        reversed.emplace_back(argv[i]);
        if (reversed.back().starts_with('[') && reversed.back().ends_with(']')) reversed.back() += MARK;
    }
    RemoveMarks(app);
    app.parse(std::move(reversed));
}

namespace {

// From every value, before anything else looks at it.
void RemoveMarks(CLI::App& app) {
    const auto removeMark = [](std::string text) {
        if (text.ends_with(MARK)) text.pop_back();
        return text;
    };
    for (CLI::Option* pOption : app.get_options(nullptr))
        pOption->transform(removeMark);
    for (CLI::App* pCommand : app.get_subcommands([](const CLI::App*) { return true; }))
        RemoveMarks(*pCommand);
}

}  // namespace
