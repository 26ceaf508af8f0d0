#include "ctl/import/import_entries.h"

#include <algorithm>
#include <set>

#include "ctl/daemon_process.h"
#include "ctl/entry_check.h"
#include "ctl/import/interruption.h"
#include "ctl/import/list_name.h"
#include "ctl/import/read_lists.h"
#include "ctl/import/suffix_tails.h"
#include "ctl/settings_store.h"
#include "policy/list_entry.h"

namespace {

class EntryTaker : public NameTaker {
  public:
    explicit EntryTaker(const tagEntryImport& import) : m_import(import) {}

    const char* Enter(const std::string&) override { return nullptr; }
    const char* Take(const tagLineItem& item, const tagCanonicalURL& url) override;

    std::vector<tagEntry> entries;
    size_t nDuplicates = 0;
    size_t nNarrowed = 0;  // lines that mean sub-domains, of which the host alone is taken

  private:
    const char* WhyOtherList(const tagLineItem& item) const;

    const tagEntryImport& m_import;
    std::set<std::string> m_texts;
    const SuffixTails m_tails;
};

[[noreturn]] void RefuseMany(int nList);
std::string EntryOf(std::string_view text, const tagCanonicalURL& url);
std::string NarrowedText(int nList, size_t nNarrowed);
size_t WarnOfEntries(int nList, const std::vector<tagEntry>& entries);

}  // namespace

void ImportEntries(const tagEntryImport& import) {
    RefuseUnreadable(import.files);
    EntryTaker taker(import);
    ImportTally tally;
    {
        const Interruptible interruptible;
        ReadLists(import.files, import.format, taker, tally);
    }
    const std::string list = StoreListName(import.nList), told = tally.Text();
    if (taker.entries.empty()) {
        throw CtlError("refused: there is no name in it that can be taken; nothing was changed" +
                       (told.empty() ? "" : "\n" + told));
    }
    SettingsStore store(STORE_CREATE);
    size_t nAdded = 0;
    store.Begin();
    for (const tagEntry& entry : taker.entries)
        nAdded += store.Add(import.nList, entry);
    if (nAdded != 0 && store.Entries(import.nList).size() > POLICY_IMPORT_MAX) RefuseMany(import.nList);
    store.Keep();

    const size_t nThere = taker.entries.size() - nAdded;
    Json document{
        {"list", list}, {"added", nAdded}, {"unchanged", nThere}, {"duplicates", taker.nDuplicates}};
    tally.Describe(document);
    document["narrowed"] = taker.nNarrowed;
    if (taker.nNarrowed != 0) PrintWarning(NarrowedText(import.nList, taker.nNarrowed));
    document["warnings"] = WarnOfEntries(import.nList, taker.entries);
    const std::string text = list + ": added " + Counted(nAdded, "entry", "entries") + ", " +
                             std::to_string(nThere) + " there already, " + std::to_string(taker.nDuplicates) +
                             " repeated, " + std::to_string(tally.Rejected()) + " rejected";
    PrintChange(document, text + (told.empty() ? "" : "\n" + told));
}

namespace {

const char* EntryTaker::Take(const tagLineItem& item, const tagCanonicalURL& url) {
    if (const char* szWhyNot = WhyOtherList(item)) return szWhyNot;
    const bool bHost = url.nLength == url.nHost + 1;
    const bool bName = bHost && !url.bAddress;
    const tagEntry entry = {EntryOf(item.text, url), bName && m_import.bSubdomains};
    if (entry.text.size() >= sizeof(tagListEntryBuf::szSource)) return "is longer than a list's entry can be";
    if (!WhyBadEntry(m_import.nList, entry).empty()) {
        return "can be no entry of a list; 'block add' tells why";
    }
    if (entry.bSubdomains && m_tails.Holds(entry.text)) {
        return "would cover a public suffix that ends in it: unrelated sites stand below that";
    }
    if (!m_texts.insert(entry.text).second) {
        ++nDuplicates;
        return nullptr;
    }
    nNarrowed += bName && item.bSubdomains && !entry.bSubdomains;
    entries.push_back(entry);
    if (entries.size() > POLICY_IMPORT_MAX) RefuseMany(m_import.nList);
    return nullptr;
}

// In filter lists rules and exceptions are told apart; names of other formats are taken for either list.
const char* EntryTaker::WhyOtherList(const tagLineItem& item) const {
    const bool bBlocks = m_import.nList == STORE_LIST_BLOCK;
    if (bBlocks && item.bException) return "takes a name back: import such rules into allow or trust";
    if (!bBlocks && item.bBlocks) return "blocks a name: import such rules into block, harmful or a category";
    return nullptr;
}

void RefuseMany(int nList) {
    const std::string list = StoreListName(nList);
    throw CtlError(
        "refused: there would be more than " + std::to_string(POLICY_IMPORT_MAX) +
        " names in the list. The " + list + " list is resolved name by name whenever settings are loaded. " +
        (nList == STORE_LIST_BLOCK
             ? "For large lists: 'websecctl import harmful FILE', or a category that is blocked: 'websecctl "
               "import category NAME FILE', then 'websecctl category block NAME'"
             : "Import those that are needed") +
        "; nothing was changed");
}

// As it stands, but for capitals that no request has and for the marks that mean sub-domains.
std::string EntryOf(std::string_view text, const tagCanonicalURL& url) {
    const std::string host(url.szText, url.nHost);
    if (url.nLength == url.nHost + 1) return host;
    std::string entry(text.substr(text.starts_with("*.") ? 2 : text.starts_with('.') ? 1 : 0));
    const size_t nScheme = entry.find("://");
    const size_t nHost = nScheme == entry.npos || nScheme > 5 ? 0 : nScheme + 3;
    const size_t nEnd = std::min(entry.find('/', nHost), entry.size());
    std::transform(entry.begin(), entry.begin() + static_cast<ptrdiff_t>(nEnd), entry.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return entry;
}

// A sub-domain entry covers every host that ends in its text, which no line of a list can be trusted with.
std::string NarrowedText(int nList, size_t nNarrowed) {
    const std::string entries = Counted(nNarrowed, "entry stands for less than its line says",
                                        "entries stand for less than their lines say");
    if (nList == STORE_LIST_TRUST) return "the trust list knows no sub-domains: " + entries;
    const char* szOtherWay =
        nList == STORE_LIST_BLOCK
            ? "; 'websecctl import harmful FILE' or 'websecctl import category NAME FILE' "
              "cover sub-domains and nothing else"
            : "";
    return "sub-domains are taken with --subdomains only: " + entries + szOtherWay;
}

// The first few; returns how many entries are read otherwise than they look.
size_t WarnOfEntries(int nList, const std::vector<tagEntry>& entries) {
    constexpr size_t WARNINGS_SHOWN = 5;
    size_t nWarned = 0;
    for (const tagEntry& entry : entries) {
        const std::vector<std::string> warnings = EntryWarnings(nList, entry);
        if (warnings.empty()) continue;
        if (++nWarned <= WARNINGS_SHOWN) PrintWarning(Quoted(entry.text) + ": " + warnings.front());
    }
    if (nWarned > WARNINGS_SHOWN) {
        PrintWarning(Counted(nWarned - WARNINGS_SHOWN, "more entry is read otherwise than it looks",
                             "more entries are read otherwise than they look"));
    }
    return nWarned;
}

}  // namespace
