// websecctl - the administrator's command line of websec. Exit status 0; 1 when something was refused or
// failed; 2 when the command line itself is wrong.
#include <exception>
#include <iostream>

#include "ctl/commands.h"
#include "ctl/output.h"

namespace {

enum : int { EXIT_REFUSED = 1, EXIT_USAGE = 2 };

constexpr void (*COMMAND_GROUPS[])(CLI::App&) = {
    AddProtectionCommand, AddListCommands,  AddCategoryCommand, AddImportCommand,   AddListsCommand,
    AddExplainCommand,    AddStatusCommand, AddReloadCommand,   AddDatafileCommand, AddReportCommand,
};

int Refuse(const char* szReason);

}  // namespace

int main(int argc, char** argv) try {
    CLI::App app("Sets, explains and reports what websec blocks.", "websecctl");
    app.set_version_flag("--version", "websecctl " WEBSEC_VERSION);
    app.add_flag("--json", g_OutputOptions.bJson, "Answer with a JSON document");
    app.footer("Example: websecctl block add ads.example --subdomains");
    app.require_subcommand(1);
    app.fallthrough();
    for (const auto AddGroup : COMMAND_GROUPS)
        AddGroup(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : EXIT_USAGE;
    }
    std::cout.flush();
    return std::cout ? 0 : Refuse("cannot write to standard output");
} catch (const std::exception& error) {
    return Refuse(error.what());
}

namespace {

int Refuse(const char* szReason) {
    std::cout.flush();
    std::cerr << "websecctl: " << szReason << '\n';
    return EXIT_REFUSED;
}

}  // namespace
