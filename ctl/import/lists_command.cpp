// websecctl lists: what was imported.
#include <filesystem>
#include <memory>

#include "ctl/commands.h"
#include "ctl/import/interruption.h"
#include "ctl/import/list_change.h"
#include "ctl/import/list_refresh.h"
#include "ctl/output.h"
#include "ctl/time_argument.h"

namespace {

struct tagMapState {
    int nOpened;
    uint32_t nNames;
};

void ShowLists();
void RemoveList(const std::vector<std::string>& arguments);
tagSource FindSource(const std::vector<tagSource>& sources, const std::vector<std::string>& arguments);
std::string SourceState(const tagSource& source);
tagMapState StateOf(const std::string& path, const tagListKind& kind);
Json SourceDocument(const tagSource& source, const std::string& state);
std::string FilesText(const tagSource& source);
void WarnOfUnknownFiles(const std::vector<tagSource>& sources);

}  // namespace

void AddListsCommand(CLI::App& app) {
    CLI::App* pGroup = app.add_subcommand("lists", "Show what was imported, remove a list");
    pGroup->footer("Example: websecctl lists");
    pGroup->require_subcommand(0, 1);
    CLI::App* pRemove = pGroup->add_subcommand("remove", "Remove an imported list");
    pRemove->footer("Example: websecctl lists remove phishing feed");
    const auto pArguments = std::make_shared<std::vector<std::string>>();
    pRemove->add_option("LIST", *pArguments, "Its kind and name; the name alone when no other kind has it")
        ->required()
        ->expected(1, 2);
    pRemove->final_callback([pArguments] { RemoveList(*pArguments); });
    pGroup->final_callback([pGroup] {
        if (pGroup->get_subcommands().empty()) ShowLists();
    });
}

namespace {

void ShowLists() {
    const std::vector<tagSource> sources = SourceStore(STORE_OPEN_EXISTING).Sources();
    Json lists = Json::array(), inForce = Json::array();
    std::vector<std::vector<std::string>> rows = {
        {"KIND", "NAME", "CATEGORY", "NAMES", "REPEATED", "REJECTED", "IMPORTED", "STATE", "FROM"}};
    for (const tagSource& source : sources) {
        const std::string state = SourceState(source);
        lists.push_back(SourceDocument(source, state));
        rows.push_back({source.pKind->szName, Printable(source.name), SourceCategoryText(source),
                        std::to_string(source.nAccepted), std::to_string(source.nDuplicates),
                        std::to_string(source.nRejected), LocalTimeText(source.nImported), state,
                        FilesText(source)});
    }
    std::string text = sources.empty() ? "no lists are imported" : AlignColumns(rows);
    for (const tagListKind& kind : LIST_KINDS) {
        const tagMapState state = StateOf(InForcePath(kind), kind);
        inForce.push_back({{"kind", kind.szName},
                           {"file", InForcePath(kind)},
                           {"names", state.nNames},
                           {"state", MapStateText(state.nOpened)}});
        const bool bWanted =
            std::ranges::any_of(sources, [&](auto& source) { return source.pKind == &kind; });
        if (state.nOpened == URLMAP_OK) {
            text += "\nin force, " + std::string(kind.szName) + ": " + Counted(state.nNames, "name");
        } else if (bWanted || state.nOpened != URLMAP_MISSING) {
            PrintWarning(Printable(InForcePath(kind)) + " is " + MapStateText(state.nOpened) + ": no " +
                         kind.szName + " list is in force; import one of its lists again");
        }
    }
    WarnOfUnknownFiles(sources);
    PrintAnswer({{"lists", lists}, {"in_force", inForce}}, text);
}

void RemoveList(const std::vector<std::string>& arguments) {
    (void)FindSource(SourceStore(STORE_OPEN_EXISTING).Sources(), arguments);
    const Interruptible interruptible;
    ListChange change;
    const tagSource source = FindSource(change.Sources(), arguments);
    const uint32_t nInForce = change.Remove(source).nNames;
    const std::string kind = source.pKind->szName;
    PrintListChange({{"removed", {{"kind", kind}, {"name", source.name}}}, {"in_force", nInForce}},
                    kind + ": removed " + Quoted(source.name) + "\nin force: " + Counted(nInForce, "name"));
}

tagSource FindSource(const std::vector<tagSource>& sources, const std::vector<std::string>& arguments) {
    const std::string& name = arguments.back();
    const tagListKind* pKind = nullptr;
    if (arguments.size() == 2) {
        pKind = FindListKind(arguments[0]);
        if (!pKind)
            throw CtlError("refused: " + Quoted(arguments[0]) + " is not phishing, harmful or category");
    }
    const tagSource* pFound = nullptr;
    for (const tagSource& source : sources) {
        if (source.name != name || (pKind && source.pKind != pKind)) continue;
        if (pFound)
            throw CtlError("refused: several kinds have a list " + Quoted(name) + "; name the kind, too");
        pFound = &source;
    }
    if (!pFound) {
        throw CtlError("refused: there is no " + std::string(pKind ? pKind->szName : "imported") + " list " +
                       Quoted(name) + "; 'websecctl lists' shows them");
    }
    return *pFound;
}

// A sound source is of use only in a sound list in force.
std::string SourceState(const tagSource& source) {
    const int nOwn = StateOf(SourcePath(*source.pKind, source.nFile), *source.pKind).nOpened;
    const bool bInForce = StateOf(InForcePath(*source.pKind), *source.pKind).nOpened == URLMAP_OK;
    return nOwn == URLMAP_OK && !bInForce ? "not in force" : MapStateText(nOwn);
}

// By opening it, as those who use it do.
tagMapState StateOf(const std::string& path, const tagListKind& kind) {
    tagURLMap map;
    const int nOpened = OpenURLMap(&map, path.c_str(), kind.nMapKind);
    const tagMapState state = {nOpened, map.nNames};
    CloseURLMap(&map);
    return state;
}

Json SourceDocument(const tagSource& source, const std::string& state) {
    Json document{{"kind", source.pKind->szName}, {"name", source.name}};
    if (source.nCategory != SOURCE_NO_CATEGORY) document["category"] = SourceCategoryText(source);
    document["accepted"] = source.nAccepted;
    document["duplicates"] = source.nDuplicates;
    document["rejected"] = source.nRejected;
    document["imported"] = source.nImported;
    document["files"] = source.files;
    document["state"] = state;
    return document;
}

std::string FilesText(const tagSource& source) {
    if (source.files.empty()) return "";
    const size_t nMore = source.files.size() - 1;
    return Printable(source.files.front()) + (nMore == 0 ? "" : " and " + std::to_string(nMore) + " more");
}

// They come from another store, or from one that was lost.
void WarnOfUnknownFiles(const std::vector<tagSource>& sources) {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(SourcesFolder(), error)) {
        const std::string name = entry.path().filename();
        const bool bKnown = std::ranges::any_of(sources, [&name](const tagSource& source) {
            return SourceFileName(*source.pKind, source.nFile) == name;
        });
        if (SourceNumber(name) && !bKnown) {
            PrintWarning("the store knows nothing of " + Printable(entry.path().string()) +
                         "; if no other store does, delete it");
        }
    }
}

}  // namespace
