// websecctl export and import-settings: the settings of the store to a file, and from one.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "ctl/commands.h"
#include "ctl/daemon_process.h"
#include "ctl/pending_file.h"
#include "ctl/read_file.h"
#include "ctl/settings_document.h"

namespace {

void ExportSettings(const std::string& file, bool bForce);
void ImportSettings(const std::string& file);
tagSettings ReadSettings();
void ReplaceSettings(SettingsStore& store, const tagSettings& settings);
std::string Summary(const tagSettings& settings);

}  // namespace

void AddTransferCommands(CLI::App& app) {
    const auto pFile = std::make_shared<std::string>();
    CLI::App* pExport = app.add_subcommand("export", "Write all settings as JSON, for import-settings");
    pExport->add_option("FILE", *pFile, "Where to [-, standard output]");
    const auto pForce = std::make_shared<bool>(false);
    pExport->add_flag("--force", *pForce, "Put it in the place of a file that is there");
    pExport->footer(
        "In it: protections, the block, allow and trust lists, blocked categories.\n"
        "Not in it: reports (websecctl report --json), since they are no settings; imported lists (see\n"
        "websecctl lists), since they are large and made anew from their files; websec.cfg and the data\n"
        "files, which stand in the product directory and can be copied as they are.\n"
        "Example: websecctl export settings.json");
    pExport->final_callback([pFile, pForce] { ExportSettings(*pFile, *pForce); });

    CLI::App* pImport =
        app.add_subcommand("import-settings", "Put exported settings in place of all settings");
    pImport->add_option("FILE", *pFile, "What export has written")->required();
    pImport->footer(
        "All of it is taken or, when any part is wrong, nothing. What it holds not stays: reports, imported "
        "lists.\n"
        "Example: websecctl import-settings settings.json");
    pImport->final_callback([pFile] { ImportSettings(*pFile); });
}

namespace {

void ExportSettings(const std::string& file, bool bForce) {
    if (!file.empty() && file != "-" && !bForce && access(file.c_str(), F_OK) == 0) {
        throw CtlError("refused: " + Quoted(file) +
                       " is there already; --force puts the export in its place");
    }
    const tagSettings settings = ReadSettings();
    const Json document = SettingsDocument(settings);
    const std::string text = JsonText(document, 2);
    std::vector<std::string> faults;
    (void)ParseSettings(text, faults);
    for (const auto& fault : faults)
        PrintWarning("import-settings will refuse it: " + fault);
    if (file.empty() || file == "-") return PrintAnswer(document, text);
    PendingFile output(file);
    const std::string line = text + "\n";
    output.Write({reinterpret_cast<const uint8_t*>(line.data()), line.size()}, 0);
    output.PutInPlace(0600);
    PrintAnswer({{"file", file}}, "exported to " + Printable(file) + ": " + Summary(settings));
}

void ImportSettings(const std::string& file) {
    const auto text = ReadTextFile(file);
    if (!text) throw CtlError("cannot read " + Quoted(file) + ": " + std::strerror(errno));
    std::vector<std::string> faults;
    const tagSettings settings = ParseSettings(*text, faults);
    if (!faults.empty()) {
        throw CtlError("refused: " + Quoted(file) + " is wrong; nothing was changed\n  " +
                       Joined(faults, "\n  "));
    }
    SettingsStore store(STORE_CREATE);
    store.Begin();
    ReplaceSettings(store, settings);
    store.Keep();
    PrintChange(SettingsDocument(settings),
                "all settings are those of " + Printable(file) + " now: " + Summary(settings));
}

tagSettings ReadSettings() {
    SettingsStore store(STORE_OPEN_EXISTING);
    tagSettings settings{};
    for (size_t n = 0; n < settings.switches.size(); ++n)
        settings.switches[n] = store.IsOn(static_cast<int>(n));
    for (size_t n = 0; n < settings.lists.size(); ++n)
        settings.lists[n] = store.Entries(static_cast<int>(n));
    settings.blockedCategories = store.BlockedCategories();
    return settings;
}

void ReplaceSettings(SettingsStore& store, const tagSettings& settings) {
    for (size_t n = 0; n < settings.switches.size(); ++n)
        store.SetSwitch(static_cast<int>(n), settings.switches[n]);
    for (size_t n = 0; n < settings.lists.size(); ++n) {
        const int nList = static_cast<int>(n);
        for (const auto& entry : store.Entries(nList))
            (void)store.Remove(nList, entry.text);
        for (const auto& entry : settings.lists[n])
            (void)store.Add(nList, entry);
    }
    for (const uint8_t nCategory : store.BlockedCategories())
        (void)store.SetCategory(nCategory, false);
    for (const uint8_t nCategory : settings.blockedCategories)
        (void)store.SetCategory(nCategory, true);
}

std::string Summary(const tagSettings& settings) {
    std::string text;
    for (size_t n = 0; n < settings.lists.size(); ++n)
        text += StoreListName(static_cast<int>(n)) + (" " + std::to_string(settings.lists[n].size())) + ", ";
    return text + "blocked categories " + std::to_string(settings.blockedCategories.size());
}

}  // namespace
