// websecctl block, allow, trust: the three lists.
#include <memory>
#include <string>
#include <vector>

#include "ctl/commands.h"
#include "ctl/daemon_process.h"
#include "ctl/entry_check.h"
#include "ctl/output.h"
#include "ctl/settings_store.h"
#include "policy/list_entry.h"

namespace {

struct tagListGroup {
    int nList;
    const char* szDescription;
};
constexpr tagListGroup LIST_GROUPS[] = {
    {STORE_LIST_BLOCK, "What is blocked: a host, an address, or one URL"},
    {STORE_LIST_ALLOW, "What passes although its category is blocked"},
    {STORE_LIST_TRUST, "URLs that pass although they are found harmful or phishing"},
};

struct tagListArguments {
    std::vector<std::string> entries;
    bool bSubdomains;
};

void AddListGroup(CLI::App& app, const tagListGroup& group);
void AddEntries(int nList, const tagListArguments& arguments);
const char* AddEntry(SettingsStore& store, int nList, const tagEntry& entry);
void RemoveEntries(int nList, const tagListArguments& arguments);
void ListEntries(int nList);
Json EntryDocument(const tagEntry& entry);
std::string EntryText(const tagEntry& entry);
const char* WhatIsLeftOut(int nList, const tagEntry& entry);

}  // namespace

void AddListCommands(CLI::App& app) {
    for (const auto& group : LIST_GROUPS)
        AddListGroup(app, group);
}

namespace {

void AddListGroup(CLI::App& app, const tagListGroup& group) {
    const int nList = group.nList;
    const std::string name = StoreListName(nList);
    const auto pArguments = std::make_shared<tagListArguments>();
    const std::string example = "Example: websecctl " + name;
    CLI::App* pGroup = app.add_subcommand(name, group.szDescription);
    pGroup->footer(example + " add www.a.example");
    pGroup->require_subcommand(1);

    CLI::App* pAdd = pGroup->add_subcommand("add", "Add entries; all of them, or none if one is refused");
    pAdd->footer("A URL stands for that very page; of HTTPS only the host is seen.\n" +
                 std::string(nList == STORE_LIST_TRUST
                                 ? "A host stands for http://HOST/ and for all of it under HTTPS.\n"
                                 : "") +
                 example +
                 (nList == STORE_LIST_TRUST ? " add a.example/page" : " add a.example --subdomains"));
    pAdd->add_option("ENTRY", pArguments->entries, "Host, IPv4 address or URL")->required();
    if (nList != STORE_LIST_TRUST) {
        pAdd->add_flag("--subdomains", pArguments->bSubdomains, "The entries cover all sub-domains too");
    }
    pAdd->final_callback([nList, pArguments] { AddEntries(nList, *pArguments); });

    CLI::App* pRemove =
        pGroup->add_subcommand("remove", "Remove entries; all of them, or none if one is missing");
    pRemove->footer(example + " remove a.example");
    pRemove->add_option("ENTRY", pArguments->entries, "The entry as the list shows it")->required();
    pRemove->final_callback([nList, pArguments] { RemoveEntries(nList, *pArguments); });

    CLI::App* pShow = pGroup->add_subcommand("list", "Show the entries and how websec reads them");
    pShow->footer(example + " list");
    pShow->final_callback([nList] { ListEntries(nList); });
}

void AddEntries(int nList, const tagListArguments& arguments) {
    std::vector<tagEntry> entries;
    for (const auto& text : arguments.entries)
        entries.push_back({WithSchemeInSmallLetters(text), arguments.bSubdomains});
    for (const auto& entry : entries)
        RefuseBadEntry(nList, entry);

    SettingsStore store(STORE_CREATE);
    Json added = Json::array(), unchanged = Json::array();
    std::string text;
    store.Begin();
    for (const auto& entry : entries) {
        const std::vector<std::string> warnings = EntryWarnings(nList, entry);
        for (const auto& warning : warnings)
            PrintWarning(Quoted(entry.text) + ": " + warning);
        const char* szAction = AddEntry(store, nList, entry);
        Json document = EntryDocument(entry);
        document["warnings"] = warnings;
        (szAction ? added : unchanged).push_back(std::move(document));
        text += (text.empty() ? "" : "\n") + std::string(StoreListName(nList)) + ": " +
                (szAction ? szAction : "already there:") + " " + EntryText(entry) +
                WhatIsLeftOut(nList, entry);
    }
    store.Keep();
    const Json answer{{"list", StoreListName(nList)}, {"added", added}, {"unchanged", unchanged}};
    added.empty() ? PrintAnswer(answer, text) : PrintChange(answer, text);
}

// What was done, or null when the entry stood there already just so.
const char* AddEntry(SettingsStore& store, int nList, const tagEntry& entry) {
    bool bOtherFlag = false;
    for (const auto& there : store.Entries(nList)) {
        bOtherFlag |= there.text == entry.text && there.bSubdomains != entry.bSubdomains;
    }
    if (!store.Add(nList, entry)) return nullptr;
    return bOtherFlag ? "changed to" : "added";
}

void RemoveEntries(int nList, const tagListArguments& arguments) {
    SettingsStore store(STORE_OPEN_EXISTING);
    std::string text;
    store.Begin();
    for (const auto& entry : arguments.entries) {
        if (!store.Remove(nList, entry) && !store.Remove(nList, WithSchemeInSmallLetters(entry))) {
            throw CtlError("refused: " + Quoted(entry) + " is not in the " + StoreListName(nList) +
                           " list; nothing was removed");
        }
        if (!text.empty()) text += '\n';
        text += StoreListName(nList) + (": removed " + Printable(entry));
    }
    store.Keep();
    PrintChange({{"list", StoreListName(nList)}, {"removed", arguments.entries}}, text);
}

void ListEntries(int nList) {
    SettingsStore store(STORE_OPEN_EXISTING);
    Json document = Json::array();
    std::vector<std::vector<std::string>> rows = {{"ENTRY", "SUB-DOMAINS", "TYPE", "READ AS"}};
    for (const auto& entry : store.Entries(nList)) {
        const tagEntryReading reading = ReadAsDaemon(entry);
        document.push_back(EntryDocument(entry));
        rows.push_back({Printable(entry.text), entry.bSubdomains ? "yes" : "no", EntryTypeName(reading.nType),
                        Printable(reading.text)});
    }
    const bool bEmpty = document.empty();
    const std::string empty = "the " + std::string(StoreListName(nList)) + " list is empty";
    PrintAnswer({{"list", StoreListName(nList)}, {"entries", document}}, bEmpty ? empty : AlignColumns(rows));
}

Json EntryDocument(const tagEntry& entry) {
    const tagEntryReading reading = ReadAsDaemon(entry);
    return {{"entry", entry.text},
            {"subdomains", entry.bSubdomains},
            {"type", EntryTypeName(reading.nType)},
            {"read_as", reading.text}};
}

std::string EntryText(const tagEntry& entry) {
    return Printable(entry.text) + (entry.bSubdomains ? " and its sub-domains" : "");
}

const char* WhatIsLeftOut(int nList, const tagEntry& entry) {
    if (ReadAsDaemon(entry).nType == ENTRY_URL) return ", not under https, of which only the host is seen";
    if (nList != STORE_LIST_TRUST) return "";
    return ", under http no page but its first: trust each page, or the site by a pattern (datafile build "
           "trusted)";
}

}  // namespace
