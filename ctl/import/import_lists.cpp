#include "ctl/import/import_lists.h"

#include <filesystem>

#include "category/category_table.h"
#include "ctl/category_argument.h"
#include "ctl/import/interruption.h"
#include "ctl/import/list_change.h"
#include "ctl/import/list_name.h"
#include "ctl/import/list_refresh.h"
#include "ctl/import/map_taker.h"
#include "ctl/import/read_lists.h"
#include "ctl/output.h"
#include "ctl/settings_store.h"
#include "ctl/time_argument.h"

namespace {

tagSource DescribeSource(const tagListKind& kind, const tagListImport& import);
void RefuseOtherCategory(const tagSource* pOld, const tagSource& source, bool bNamed);
void RefuseEmpty(const tagURLMapBuilder& builder, const ImportTally& tally);
std::string LostNote(uint32_t nCategoriesLost, const char* szWhere);
std::string SwitchedOffNote(const tagListKind& kind);

}  // namespace

void ImportIntoList(const tagListKind& kind, const tagListImport& import) {
    tagSource source = DescribeSource(kind, import);
    RefuseUnreadable(import.files);
    const Interruptible interruptible;
    ListChange change;
    const tagSource* pOld = change.Find(kind, source.name);
    RefuseOtherCategory(pOld, source, !import.name.empty());

    MapTaker taker(source);
    ImportTally tally;
    ReadLists(import.files, import.format, taker, tally);
    RefuseEmpty(taker.Builder(), tally);
    source.nRejected = tally.Rejected();
    std::string replaced = pOld ? LocalTimeText(pOld->nImported) : "";
    uint32_t nLost = 0;
    const tagMergedList merged = change.Put(source, taker.Builder(), &nLost);

    Json document{{"kind", kind.szName}, {"name", source.name}};
    if (source.nCategory != SOURCE_NO_CATEGORY) document["category"] = SourceCategoryText(source);
    document["accepted"] = source.nAccepted;
    document["duplicates"] = source.nDuplicates;
    tally.Describe(document);
    document["replaced"] = !replaced.empty();
    document["in_force"] = merged.nNames;
    if (kind.nMapKind == URLMAP_CATEGORIES) {
        document["categories_lost"] = {{"in_it", nLost}, {"with_other_lists", merged.nCategoriesLost}};
    }
    std::string text = std::string(kind.szName) + ": imported " + Quoted(source.name) + ": " +
                       Counted(source.nAccepted, "name") + ", " + std::to_string(source.nDuplicates) +
                       " repeated, " + std::to_string(source.nRejected) + " rejected";
    if (!replaced.empty()) text += "\nin place of the import of " + replaced;
    for (const std::string& part :
         {tally.Text(), taker.Notes(), LostNote(nLost, "in it"),
          LostNote(merged.nCategoriesLost, "with the other lists"), SwitchedOffNote(kind)})
        text += (part.empty() ? "" : "\n") + part;
    PrintListChange(document, text + "\nin force: " + Counted(merged.nNames, "name"));
}

namespace {

tagSource DescribeSource(const tagListKind& kind, const tagListImport& import) {
    tagSource source = {};
    source.pKind = &kind;
    source.name = ListNameArgument(import.name, import.files.front());
    source.nCategory = SOURCE_NO_CATEGORY;
    if (kind.nMapKind == URLMAP_CATEGORIES) {
        source.nCategory =
            import.category == CATEGORY_AUTO ? SOURCE_MANY_CATEGORIES : CategoryArgument(import.category);
    }
    for (const auto& file : import.files)
        source.files.push_back(std::filesystem::absolute(file).lexically_normal());
    return source;
}

// Files of different categories often have the same name; the second must not replace the first unasked.
void RefuseOtherCategory(const tagSource* pOld, const tagSource& source, bool bNamed) {
    if (bNamed || !pOld || pOld->nCategory == source.nCategory) return;
    const std::string name = Quoted(source.name), old = SourceCategoryText(*pOld);
    throw CtlError(
        "refused: there is a list " + name + " already, imported " +
        (pOld->nCategory == SOURCE_MANY_CATEGORIES ? "as a collection of categories"
                                                   : "as the category " + old) +
        "; to keep it, give this one another name with --name; to put this one in its place, say --name " +
        name);
}

// Most likely a wrong file or the page of a server's error, which must not take a list out of force.
void RefuseEmpty(const tagURLMapBuilder& builder, const ImportTally& tally) {
    if (builder.nNames != 0) return;
    const std::string text = tally.Text();
    throw CtlError("refused: there is no name in it that can be taken; nothing was changed" +
                   (text.empty() ? "" : "\n" + text));
}

std::string LostNote(uint32_t nCategoriesLost, const char* szWhere) {
    if (nCategoriesLost == 0) return "";
    return "lost: " + Counted(nCategoriesLost, "category", "categories") +
           " of names that stand in more than " + std::to_string(URLMAP_CATEGORIES_MAX) + " " + szWhere +
           "; the first of each name are kept";
}

std::string SwitchedOffNote(const tagListKind& kind) {
    const int nSwitch = kind.nMapKind == URLMAP_CATEGORIES               ? SWITCH_CATEGORY
                        : std::string_view(PHISHING_LIST) == kind.szFile ? SWITCH_PHISHING
                                                                         : SWITCH_BROWSING;
    if (SettingsStore(STORE_OPEN_EXISTING).IsOn(nSwitch)) return "";
    const std::string name = SwitchName(nSwitch);
    return "the protection " + name + " is off: websecctl protection " + name + " on";
}

}  // namespace
