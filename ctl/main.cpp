// websecctl - the administrator's command line of websec. Exit status 0; 1 when something was refused or
// failed; 2 when the command line itself is wrong.
#include <algorithm>
#include <exception>
#include <iostream>
#include <string>
#include <string_view>

#include "ctl/commands.h"
#include "ctl/output.h"
#include "ctl/usage_error.h"
#include "ctl/verbatim_arguments.h"

namespace {

enum : int { EXIT_REFUSED = 1, EXIT_USAGE = 2 };

constexpr void (*COMMAND_GROUPS[])(CLI::App&) = {
    AddProtectionCommand, AddListCommands,     AddCategoryCommand, AddImportCommand,   AddListsCommand,
    AddExplainCommand,    AddStatusCommand,    AddReloadCommand,   AddDatafileCommand, AddReportCommand,
    AddRulesCommand,      AddTransferCommands, AddDoctorCommand,
};

int Refuse(const std::string& reason, int nStatus);

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
        // A wrong command line may end the parser before it comes to the flag.
        g_OutputOptions.bJson = std::find(argv, argv + argc, std::string_view("--json")) != argv + argc;
        ParseVerbatim(app, argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error);
        return Refuse(UsageErrorText(app, error), EXIT_USAGE);
    }
    std::cout.flush();
    return std::cout ? 0 : Refuse("cannot write to standard output", EXIT_REFUSED);
} catch (const std::exception& error) {
    return Refuse(error.what(), EXIT_REFUSED);
}

namespace {

int Refuse(const std::string& reason, int nStatus) {
    std::cout.flush();
    PrintError(reason, nStatus == EXIT_USAGE ? "Run with --help for more information." : "");
    return nStatus;
}

}  // namespace
