// websecctl category: which web categories are blocked.
//
// The store keeps real ids, whatever the category mode; the settings module gives the daemon the ids of the
// mode that it runs in.
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "category/category_engine.h"
#include "category/category_table.h"
#include "ctl/category_argument.h"
#include "ctl/commands.h"
#include "ctl/daemon_process.h"
#include "ctl/imported_lists.h"
#include "ctl/output.h"
#include "ctl/settings_store.h"
#include "inspect/web_request.h"

namespace {

void AddChange(CLI::App& group, const char* szName, const char* szDescription, bool bBlocked);
void SetCategories(const std::vector<std::string>& names, bool bBlocked);
std::vector<uint8_t> FindCategories(const std::vector<std::string>& names);
std::vector<std::string> Warnings(SettingsStore& store, const std::vector<uint8_t>& categories);
void ListCategories();
const char* SwitchThatBlocks(SettingsStore& store, uint8_t nCategory);
std::string OffWarning();
std::string CategoryText(uint8_t nCategory);
Json CategoryDocument(uint8_t nCategory);

}  // namespace

void AddCategoryCommand(CLI::App& app) {
    CLI::App* pGroup = app.add_subcommand("category", "Which web categories are blocked");
    pGroup->footer("Example: websecctl category block gambling");
    pGroup->require_subcommand(1);
    CLI::App* pList = pGroup->add_subcommand("list", "Show all categories, and which of them are blocked");
    pList->footer("Example: websecctl category list");
    pList->final_callback(ListCategories);
    AddChange(*pGroup, "block", "Block sites of these categories; all of them, or none if one is refused",
              true);
    AddChange(*pGroup, "unblock", "Let sites of these categories pass again", false);
}

namespace {

void AddChange(CLI::App& group, const char* szName, const char* szDescription, bool bBlocked) {
    CLI::App* pChange = group.add_subcommand(szName, szDescription);
    const auto pNames = std::make_shared<std::vector<std::string>>();
    pChange->footer(
        "NAME is a category as the list shows it, or a public list's name for one; case and\n"
        "punctuation do not matter.\n"
        "Example: websecctl category " +
        std::string(szName) + " job-search 'File hosting' porn");
    pChange->add_option("NAME", *pNames, "The categories")->required();
    pChange->final_callback([pNames, bBlocked] { SetCategories(*pNames, bBlocked); });
}

void SetCategories(const std::vector<std::string>& names, bool bBlocked) {
    const std::vector<uint8_t> categories = FindCategories(names);
    SettingsStore store(STORE_CREATE);
    Json changed = Json::array(), unchanged = Json::array();
    std::string text;
    store.Begin();
    for (const uint8_t nCategory : categories) {
        const bool bChanged = store.SetCategory(nCategory, bBlocked);
        (bChanged ? changed : unchanged).push_back(CategoryDocument(nCategory));
        text += std::string(text.empty() ? "" : "\n") + "category: " + (bChanged ? "" : "already ") +
                (bBlocked ? "blocked " : "unblocked ") + CategoryText(nCategory);
    }
    const size_t nBlocked = store.BlockedCategories().size();
    if (bBlocked && nBlocked > BLOCKED_CATEGORIES_MAX) {
        throw CtlError("refused: " + std::to_string(nBlocked) + " categories would be blocked, and websec " +
                       "holds " + std::to_string(BLOCKED_CATEGORIES_MAX) + " at most; nothing was changed");
    }
    store.Keep();
    const auto warnings = bBlocked ? Warnings(store, categories) : std::vector<std::string>();
    for (const auto& warning : warnings)
        PrintWarning(warning);
    const Json answer{
        {bBlocked ? "blocked" : "unblocked", changed}, {"unchanged", unchanged}, {"warnings", warnings}};
    changed.empty() ? PrintAnswer(answer, text) : PrintChange(answer, text);
}

// Each once, in the order of the names. Throws CtlError for a name that is none.
std::vector<uint8_t> FindCategories(const std::vector<std::string>& names) {
    std::vector<uint8_t> categories;
    for (const auto& name : names) {
        const uint8_t nCategory = CategoryArgument(name);
        if (std::count(categories.begin(), categories.end(), nCategory) == 0) categories.push_back(nCategory);
    }
    return categories;
}

std::vector<std::string> Warnings(SettingsStore& store, const std::vector<uint8_t>& categories) {
    std::vector<std::string> warnings;
    if (!store.IsOn(SWITCH_CATEGORY)) warnings.push_back(OffWarning());
    if (std::count(categories.begin(), categories.end(), CATEGORY_UNKNOWN) != 0) {
        warnings.push_back("every site that stands in no list of categories is " +
                           CategoryText(CATEGORY_UNKNOWN) + " and is blocked now");
    }
    return warnings;
}

void ListCategories() {
    SettingsStore store(STORE_OPEN_EXISTING);
    const auto blocked = store.BlockedCategories();
    const auto listed = CountListedNames();
    Json categories = Json::array();
    std::vector<std::vector<std::string>> rows = {{"CATEGORY", "BLOCKED"}};
    if (!listed.empty()) rows[0].push_back("LISTED NAMES");
    for (const tagCategory& category : CATEGORY_TABLE) {
        const uint8_t nId = category.nId;
        const bool bBlocked = std::binary_search(blocked.begin(), blocked.end(), nId);
        const char* szSwitch = SwitchThatBlocks(store, nId);
        Json document = CategoryDocument(nId);
        document["blocked"] = bBlocked;
        if (szSwitch) document["blocked_by"] = szSwitch;
        rows.push_back(
            {std::string(category.szName), bBlocked   ? "yes"
                                           : szSwitch ? "by the protection '" + std::string(szSwitch) + "'"
                                                      : "-"});
        if (!listed.empty()) {
            document["listed_names"] = listed[nId];
            rows.back().push_back(std::to_string(listed[nId]));
        }
        categories.push_back(std::move(document));
    }
    const bool bOn = store.IsOn(SWITCH_CATEGORY);
    if (!bOn) PrintWarning(OffWarning());
    PrintAnswer({{"protection", bOn}, {"categories", categories}}, AlignColumns(rows));
}

// With the category server two categories have the numbers of the site protections and are blocked with them.
const char* SwitchThatBlocks(SettingsStore& store, uint8_t nCategory) {
    if (IsLibraryMode(ReadCategoryMode())) return nullptr;
    const int nSwitch = nCategory == CATEGORY_HARMFUL    ? SWITCH_BROWSING
                        : nCategory == CATEGORY_PHISHING ? SWITCH_PHISHING
                                                         : -1;
    return nSwitch >= 0 && store.IsOn(nSwitch) ? SwitchName(nSwitch) : nullptr;
}

std::string OffWarning() {
    return "the protection 'category' is off, so no category is blocked; switch it on with: websecctl "
           "protection category on";
}

std::string CategoryText(uint8_t nCategory) {
    return std::string(CATEGORY_TABLE[nCategory].szName) + " (" + std::to_string(nCategory) + ")";
}

Json CategoryDocument(uint8_t nCategory) {
    return {{"id", nCategory}, {"name", CATEGORY_TABLE[nCategory].szName}};
}

}  // namespace
