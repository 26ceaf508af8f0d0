// The command groups. Each function adds its group to the command line; the group's action runs once the
// whole line is parsed and throws CtlError for a refusal or a failure.
#pragma once

#include <CLI/CLI.hpp>

void AddProtectionCommand(CLI::App& app);
void AddListCommands(CLI::App& app);  // block, allow, trust
void AddCategoryCommand(CLI::App& app);
void AddReloadCommand(CLI::App& app);
void AddStatusCommand(CLI::App& app);
void AddDatafileCommand(CLI::App& app);
void AddExplainCommand(CLI::App& app);
void AddReportCommand(CLI::App& app);
void AddImportCommand(CLI::App& app);
void AddListsCommand(CLI::App& app);
void AddRulesCommand(CLI::App& app);
void AddTransferCommands(CLI::App& app);  // export, import-settings
void AddDoctorCommand(CLI::App& app);
