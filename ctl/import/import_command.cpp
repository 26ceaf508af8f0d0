// websecctl import: public lists into the lists of phishing and harmful sites, categories, and the policy
// lists.
#include <memory>

#include "ctl/commands.h"
#include "ctl/import/import_entries.h"
#include "ctl/import/import_lists.h"
#include "ctl/import/list_format.h"
#include "ctl/settings_store.h"

namespace {

struct tagImportArguments {
    std::vector<std::string> files;
    std::string format, name, category;
    bool bSubdomains = false;
};

constexpr const char* LIST_DESCRIPTIONS[] = {"Sites that are blocked as phishing",
                                             "Sites that are blocked as harmful",
                                             "Sites of a web category; NAME is the category"};
constexpr const char* LIST_EXAMPLES[] = {"phishing online-valid.csv.gz", "harmful --name malware hosts.txt",
                                         "category gambling gambling.tar.gz\n"
                                         "A whole collection, each folder named like its category:\n"
                                         "         websecctl import category auto blacklists.tar.gz"};

void AddListImport(CLI::App& group, size_t nKind);
void AddEntryImport(CLI::App& group, int nList);
void AddCommonOptions(CLI::App& command, tagImportArguments& arguments);

}  // namespace

void AddImportCommand(CLI::App& app) {
    CLI::App* pGroup = app.add_subcommand("import", "Import public lists of sites");
    pGroup->footer(
        "Read are plain lists of names or URLs, hosts files, Adblock rules for whole names, URLhaus and "
        "PhishTank\n"
        "CSV, and collections of category folders; plain, gzip, bzip2, tar or zip.\n"
        "Example: websecctl import phishing feed.txt");
    pGroup->require_subcommand(1);
    for (size_t nKind = 0; nKind < std::size(LIST_KINDS); ++nKind)
        AddListImport(*pGroup, nKind);
    for (int nList = 0; nList < STORE_LIST_COUNT; ++nList)
        AddEntryImport(*pGroup, nList);
}

namespace {

void AddListImport(CLI::App& group, size_t nKind) {
    const tagListKind& kind = LIST_KINDS[nKind];
    const auto pArguments = std::make_shared<tagImportArguments>();
    CLI::App* pCommand = group.add_subcommand(kind.szName, LIST_DESCRIPTIONS[nKind]);
    pCommand->footer(
        "An import takes the place of an earlier one of the same name.\n"
        "Example: websecctl import " +
        std::string(LIST_EXAMPLES[nKind]));
    if (kind.nMapKind == URLMAP_CATEGORIES) {
        pCommand
            ->add_option("NAME", pArguments->category, "The category, or auto: the folders' names say which")
            ->required();
    }
    AddCommonOptions(*pCommand, *pArguments);
    pCommand->add_option("--name", pArguments->name, "What the list is called [after the first FILE]");
    pCommand->final_callback([&kind, pArguments] {
        ImportIntoList(kind, {pArguments->files, FindListFormat(pArguments->format), pArguments->name,
                              pArguments->category});
    });
}

void AddEntryImport(CLI::App& group, int nList) {
    const std::string name = StoreListName(nList);
    const auto pArguments = std::make_shared<tagImportArguments>();
    CLI::App* pCommand = group.add_subcommand(name, "Add the names of a short list to the " + name + " list");
    pCommand->footer("Of Adblock rules, " +
                     std::string(nList == STORE_LIST_BLOCK ? "||name^ is taken" : "@@||name^ is taken") +
                     ".\nExample: websecctl import " + name + " sites.txt");
    AddCommonOptions(*pCommand, *pArguments);
    if (nList != STORE_LIST_TRUST) {
        pCommand->add_flag("--subdomains", pArguments->bSubdomains, "The entries cover all sub-domains too");
    }
    pCommand->final_callback([nList, pArguments] {
        ImportEntries(
            {nList, pArguments->files, FindListFormat(pArguments->format), pArguments->bSubdomains});
    });
}

void AddCommonOptions(CLI::App& command, tagImportArguments& arguments) {
    command.add_option("FILE", arguments.files, "File, archive or folder")->required();
    command.add_option("--format", arguments.format, "What the files are, when it is not recognised")
        ->check(CLI::IsMember({"plain", "hosts", "adblock", "csv"}));
}

}  // namespace
