#include "ctl/usage_error.h"

#include <algorithm>
#include <vector>

#include "ctl/edit_distance.h"
#include "ctl/output.h"

namespace {

constexpr size_t MAX_MISTYPED = 2;  // letters

std::string UnknownCommand(const std::string& group, const std::vector<std::string>& commands,
                           const std::string& word);

}  // namespace

std::string UsageErrorText(const CLI::App& app, const CLI::ParseError& error) {
    const CLI::App* pGroup = &app;
    std::string group;
    while (!pGroup->get_subcommands().empty()) {
        pGroup = pGroup->get_subcommands().back();
        group += (group.empty() ? "" : " ") + pGroup->get_name();
    }
    std::vector<std::string> commands;
    for (const CLI::App* pCommand : pGroup->get_subcommands([](const CLI::App*) { return true; }))
        commands.push_back(pCommand->get_name());
    if (commands.empty()) return error.what();
    for (const auto& word : app.remaining(true)) {
        if (!word.starts_with('-')) return UnknownCommand(group, commands, word.c_str());
    }
    return error.what();
}

namespace {

std::string UnknownCommand(const std::string& group, const std::vector<std::string>& commands,
                           const std::string& word) {
    const auto isNearer = [&word](const std::string& a, const std::string& b) {
        return EditDistance(word, a) < EditDistance(word, b);
    };
    const std::string& nearest = *std::min_element(commands.begin(), commands.end(), isNearer);
    const std::string text =
        (group.empty() ? "there is no command " : group + " has no command ") + Quoted(word);
    if (EditDistance(word, nearest) <= MAX_MISTYPED) return text + "; did you mean " + Quoted(nearest) + "?";
    return text + "; it has: " + Joined(commands, ", ");
}

}  // namespace
