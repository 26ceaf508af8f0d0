// websecctl explain: which check would decide about a URL, and with which entry.
#include <arpa/inet.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "category/category_engine.h"
#include "common/copy_text.h"
#include "common/product_paths.h"
#include "ctl/commands.h"
#include "ctl/daemon_process.h"
#include "ctl/entry_check.h"
#include "ctl/explanation.h"
#include "ctl/module_call.h"
#include "ctl/module_check.h"
#include "ctl/output.h"
#include "ctl/settings_check.h"
#include "ctl/settings_store.h"
#include "policy/data_file_lists.h"
#include "policy/list_entry.h"
#include "policy/list_resolve.h"
#include "policy/policy_switches.h"
#include "policy/settings_load.h"
#include "policy/url_scanner.h"

namespace {

void Explain(const std::string& text);
void NoteSettings(tagExplanation& explanation);
void PrintExplanation(const std::string& url, const tagExplanation& explanation);
Json ThreatDocument(const tagExplanation& explanation);
void LoadPolicy();
void LoadScanner();
std::vector<tagEntry> FindOrigins(const tagExplanation& explanation);
bool LeadsTo(const tagEntryReading& reading, const std::string& addrEntry);

}  // namespace

void AddExplainCommand(CLI::App& app) {
    CLI::App* pExplain =
        app.add_subcommand("explain", "Tell which check decides about a URL, with which entry");
    pExplain->footer("Example: websecctl explain http://www.a.example/page");
    const auto pURL = std::make_shared<std::string>();
    pExplain->add_option("URL", *pURL, "The URL as a browser asks for it; without a scheme http")->required();
    pExplain->final_callback([pURL] { Explain(*pURL); });
}

namespace {

void Explain(const std::string& text) {
    const bool bScheme = text.find("://") < text.find_first_of("/?#");
    const std::string url = bScheme ? text : "http://" + text;
    const tagURLParts parts = SplitURL(url);
    LoadPolicy();
    tagExplanation explanation = ExplainRequest(parts, ResolveHost(parts.host));
    if (!bScheme) {
        explanation.notes.push_back(
            "taken as http; of an https request only the host is seen: explain https://" +
            Printable(parts.host));
    }
    if (parts.scheme == "https" && parts.target != "/") {
        explanation.notes.push_back("of an https request only the host is seen; the path counts for nothing");
    }
    NoteSettings(explanation);
    PrintExplanation(url, explanation);
}

// What the daemon's tables do not tell.
void NoteSettings(tagExplanation& explanation) {
    const bool bLooks = g_bWebCategoryFilter != 1 && access(StorePath(), F_OK) == 0;
    const auto blocked =
        bLooks ? SettingsStore(STORE_OPEN_EXISTING).BlockedCategories() : std::vector<uint8_t>();
    for (const auto& category : explanation.categories) {
        if (!std::ranges::binary_search(blocked, category.nReal)) continue;
        explanation.notes.push_back("the category " + category.name +
                                    " is a blocked one, but the protection 'category' is off");
    }
    const auto daemon = FindDaemon();
    if (daemon && IsConfigNewerThan(*daemon)) {
        explanation.notes.push_back(
            "websec.cfg was changed after websec started; the running websec goes by what "
            "[ServiceConfigurations] said before");
    }
}

void PrintExplanation(const std::string& url, const tagExplanation& explanation) {
    const char* szVerdict = explanation.bBlocked ? "blocked" : "passes";
    std::vector<std::vector<std::string>> rows = {{"URL", Printable(url)}, {"verdict", szVerdict}};
    rows.push_back({"check", explanation.check});
    if (!explanation.checkURL.empty()) rows.push_back({"compared", Printable(explanation.checkURL)});
    if (explanation.threat) rows.push_back({"found", DescribeThreat(*explanation.threat)});
    Json categories = Json::array();
    for (const auto& category : explanation.categories) {
        categories.push_back({{"category", category.name}, {"blocked", category.bBlocked}});
        rows.push_back({"category", category.name + (category.bBlocked ? ", blocked" : ", not blocked")});
    }
    if (!explanation.entry.empty()) rows.push_back({"entry", Printable(explanation.entry)});
    Json origins = Json::array();
    for (const auto& origin : FindOrigins(explanation)) {
        origins.push_back({{"entry", origin.text}, {"subdomains", origin.bSubdomains}});
        rows.push_back(
            {"set as", Printable(origin.text) + (origin.bSubdomains ? " and its sub-domains" : "")});
    }
    for (const auto& note : explanation.notes)
        rows.push_back({"note", note});
    PrintAnswer({{"url", url},
                 {"verdict", szVerdict},
                 {"check", explanation.check},
                 {"compared", explanation.checkURL},
                 {"threat", ThreatDocument(explanation)},
                 {"categories", categories},
                 {"list", explanation.list},
                 {"entry", explanation.entry},
                 {"set_as", origins},
                 {"notes", explanation.notes}},
                AlignColumns(rows));
}

Json ThreatDocument(const tagExplanation& explanation) {
    if (!explanation.threat) return nullptr;
    return {{"kind", explanation.threat->bHarmful ? "harmful" : "phishing"},
            {"found_by", explanation.threat->bByScanner ? "scanner" : "engine"},
            {"name", explanation.threat->threat},
            {"listed", explanation.threat->bListed}};
}

// What the daemon loads as it starts, in its order.
void LoadPolicy() {
    RequireLibrary(CATEGORY_LIBRARY);
    RequireLibrary(CHECKSUM_LIBRARY);
    g_bUseCatServer = ReadCategoryMode();
    (void)StartCategoryEngine();
    LoadSettingsModule();
    if (LoadPolicySettings() != 0) ThrowNoSettings();
    LoadScanner();
}

// And the data files.
void LoadScanner() {
    const ModuleCall call(URL_SCANNER_FILE, "InitURLScan", MODULE_LOAD_SECONDS);
    LoadDataFileLists();
    if (g_bURLScannerLoaded != 1) return;
    LimitCalls<g_pfnScanURLForAPSH>(g_pfnScanURLForAPSH, URL_SCANNER_FILE, "ScanURLForAPSH");
    LimitCalls<g_pfnScanURLForBP>(g_pfnScanURLForBP, URL_SCANNER_FILE, "ScanURLForBP");
}

// The stored entries that the daemon reads as the deciding one, or that give it by their address.
std::vector<tagEntry> FindOrigins(const tagExplanation& explanation) {
    std::vector<tagEntry> origins;
    for (int nList = 0; nList < STORE_LIST_COUNT; ++nList) {
        if (explanation.list != std::string(StoreListName(nList)) + " list") continue;
        for (const auto& entry : SettingsStore(STORE_OPEN_EXISTING).Entries(nList)) {
            const tagEntryReading reading = ReadAsDaemon(entry);
            const bool bByAddress = nList != STORE_LIST_TRUST && LeadsTo(reading, explanation.entry);
            if (reading.text == explanation.entry || bByAddress) origins.push_back(entry);
        }
    }
    return origins;
}

// Whether the daemon derives this address entry from that entry.
bool LeadsTo(const tagEntryReading& reading, const std::string& addrEntry) {
    const bool bURL = reading.nType == ENTRY_URL;
    const in_addr_t nAddress = inet_addr(addrEntry.substr(0, addrEntry.find('/')).c_str());
    if (nAddress == INADDR_NONE || reading.nType == ENTRY_ADDRESS) return false;
    tagListEntry one{};
    (void)CopyText(one.szEntry, reading.text);
    tagListEntry* pAddrs = nullptr;
    (void)(bURL ? ResolveURLList(&one, &pAddrs) : ResolveHostList(&one, &pAddrs));
    bool bFound = false;
    for (const tagListEntry* p = pAddrs; p; p = p->pNext)
        bFound |= p->szEntry == addrEntry;
    FreeList(&pAddrs);
    return bFound;
}

}  // namespace
