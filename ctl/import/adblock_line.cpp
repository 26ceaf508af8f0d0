#include "ctl/import/adblock_line.h"

#include <algorithm>
#include <array>

#include "ctl/import/line_reader.h"

namespace {

bool IsComment(std::string_view line);
const char* WhyNoDomainRule(std::string_view rule);
bool AreOptionsHarmless(std::string_view options);

}  // namespace

const char* ReadAdblockLine(std::string_view line, std::vector<tagLineItem>& items) {
    if (line.starts_with("!#")) return "is a directive, which websec does not follow";
    if (IsComment(line)) return nullptr;
    for (const std::string_view mark :
         {"##", "#@#", "#?#", "#$#", "#%#", "#@?#", "#@$#", "#@%#", "$$", "$@$"}) {
        if (line.find(mark) != line.npos) return "is a rule for parts of pages";
    }
    std::string_view rule = line;
    const bool bException = rule.starts_with("@@");
    if (bException) rule.remove_prefix(2);
    if (!rule.starts_with("||")) return WhyNoDomainRule(rule);
    rule.remove_prefix(2);
    const std::string_view name = rule.substr(0, rule.find_first_of("^/$|?="));
    rule.remove_prefix(name.size());
    if (rule.starts_with("/") || rule.starts_with("^/") || rule.starts_with('?') || rule.starts_with('=')) {
        return "is a rule for a path, not for a whole name";
    }
    if (!rule.starts_with('^')) return "has no ^ behind the name, so it means longer names, too";
    rule.remove_prefix(1);
    if (rule.starts_with('|')) rule.remove_prefix(1);
    if (!rule.empty() && !rule.starts_with('$')) return "is a rule for a path, not for a whole name";
    if (!rule.empty() && !AreOptionsHarmless(rule.substr(1))) {
        return "has an option by which it holds for some requests only, or does something else";
    }
    items.push_back({name, {}, true, !bException, bException});
    return nullptr;
}

namespace {

// "#" begins a comment unless it is a rule for all pages.
bool IsComment(std::string_view line) {
    if (line.starts_with('!') || (line.starts_with('[') && line.ends_with(']'))) return true;
    return line == "#" || (line.starts_with("# "));
}

const char* WhyNoDomainRule(std::string_view rule) {
    if (rule.starts_with('/') && rule.size() > 1 && rule.find('/', 1) != rule.npos) {
        return "is a regular expression or a rule for a path";
    }
    if (rule.starts_with('|')) return "is a rule for the beginning of an address";
    return "is no rule for a whole name (||name^)";
}

bool AreOptionsHarmless(std::string_view options) {
    constexpr std::array<std::string_view, 5> HARMLESS = {"all", "document", "doc", "important", ""};
    while (!options.empty()) {
        const std::string_view option = options.substr(0, options.find(','));
        if (std::find(HARMLESS.begin(), HARMLESS.end(), option) == HARMLESS.end()) return false;
        options.remove_prefix(std::min(options.size(), option.size() + 1));
    }
    return true;
}

}  // namespace
