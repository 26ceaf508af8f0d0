// The sections of status about sites that lists know: who tells categories, and what was imported.
#include <unistd.h>

#include <array>
#include <cerrno>
#include <set>

#include "category/category_engine.h"
#include "category/category_server_client.h"
#include "category/category_server_protocol.h"
#include "category/category_status.h"
#include "common/copy_text.h"
#include "common/product_paths.h"
#include "ctl/import/source_store.h"
#include "ctl/imported_lists.h"
#include "ctl/status.h"

namespace {

constexpr char SERVER_PLACE[] = "127.0.0.1:7101";

struct tagListUse {
    int nSwitch;
    const char* szKind;
    const char* szWithout;  // such a list no site is ...
};
constexpr tagListUse LIST_USES[] = {
    // in the order of ReadImportedLists
    {SWITCH_PHISHING, "phishing", "phishing"},
    {SWITCH_BROWSING, "harmful", "harmful"},
    {SWITCH_CATEGORY, "category", "of any category"},
};

struct tagServerFault {
    std::string text, remedy;
};

void AddServer(tagStatus& status, const tagHost& host);
tagServerFault AskServer();
void Judge(tagStatus& status, const tagHost& host, int nSwitch, const std::string& text,
           const std::string& remedy);
std::set<std::string> ImportedKinds();

}  // namespace

void AddEngine(tagStatus& status, tagHost& host) {
    if (!IsLibraryMode(ReadCategoryMode())) return AddServer(status, host);
    uint8_t nStatus = CATEGORY_STATUS_ON;
    (void)ReadCategoryStatus(&nStatus);
    const bool bOn = nStatus == CATEGORY_STATUS_ON;
    status.document["category_engine"] = {{"mode", "library"}, {"on", bOn}};
    status.rows.push_back({"categories by", std::string("engine library") + (bOn ? "" : ", kept off")});
    if (bOn) return;
    Judge(status, host, SWITCH_CATEGORY,
          std::string(CATEGORY_STATUS_FILE) + " keeps the category engine off: no category is blocked",
          std::string("echo on | sudo websecctl datafile build category-status ") + CATEGORY_STATUS_FILE);
}

void AddImportedLists(tagStatus& status, tagHost& host) {
    const std::set<std::string> imported = ImportedKinds();
    const auto lists = ReadImportedLists();
    Json& document = status.document["imported"] = Json::object();
    std::string text;
    for (size_t n = 0; n < lists.size(); ++n) {
        const auto& list = lists[n];
        if (access(list.path.c_str(), R_OK) != 0 && errno == EACCES) {
            throw CtlError(Printable(list.path) + " " + list.problem);
        }
        const tagListUse& use = LIST_USES[n];
        document[list.szName] = {{"file", list.path}, {"there", list.bThere}, {"names", list.nNames}};
        text += (text.empty() ? "" : ", ") + std::string(list.szName) + " " +
                (!list.bThere           ? "none"
                 : list.problem.empty() ? Counted(list.nNames, "name")
                                        : "unusable");
        const bool bLost = !list.bThere && imported.contains(use.szKind);
        if (bLost || !list.problem.empty()) {
            Judge(status, host, use.nSwitch,
                  Printable(list.path) + " " +
                      (bLost ? "is missing, although lists were imported" : list.problem) +
                      ": it counts as empty",
                  "import it again; websecctl lists tells from what it was made");
        } else if (!list.bThere && host.switches && host.Wants(use.nSwitch)) {
            status.Warn(std::string("the protection '") + SwitchName(use.nSwitch) +
                            "' is on, but there is no list of such sites: none is " + use.szWithout,
                        std::string("import one: websecctl import ") + use.szKind);
        }
    }
    status.rows.push_back({"imported", text});
}

namespace {

void AddServer(tagStatus& status, const tagHost& host) {
    const tagServerFault fault = AskServer();
    const bool bAnswers = fault.text.empty();
    status.document["category_engine"] = {{"mode", "server"}, {"on", bAnswers}};
    status.rows.push_back({"categories by", std::string("category server at ") + SERVER_PLACE +
                                                (bAnswers ? ", which answers" : "")});
    if (bAnswers) return;
    Judge(status, host, SWITCH_CATEGORY, fault.text + " at " + SERVER_PLACE + ": no category is blocked",
          fault.remedy);
}

// What keeps the category server from answering.
tagServerFault AskServer() {
    CategoryServerClient client;
    client.SetHost(CATSERVER_HOST);
    client.SetPort(CATSERVER_PORT);
    if (!client.Connect()) return {"nobody listens", "start websec-catserver"};
    CategoryRequest request{};
    std::copy(std::begin(CATSERVER_WORDS), std::end(CATSERVER_WORDS), request.nWords);
    CopyText(request.szURL, "http://websec.invalid/");
    uint32_t nAnswer = 0;
    const bool bSent = client.Write(&request, sizeof request);
    const ssize_t nRead = bSent ? client.Read(&nAnswer, sizeof nAnswer) : -1;
    client.Close();
    if (nRead < 0) return {"the category server hangs: there is no answer within two seconds", "restart it"};
    if (nRead < static_cast<ssize_t>(sizeof nAnswer)) {
        return {"what listens closes without an answer", "see which program it is; start websec-catserver"};
    }
    if (nAnswer != CATSERVER_STATUS_OK) {
        return {"the category server has no list to answer from",
                "import one: websecctl import category; or tell the server to read it: pkill -HUP -x "
                "websec-catserve"};
    }
    return {};
}

// It is a fault where somebody counts on it.
void Judge(tagStatus& status, const tagHost& host, int nSwitch, const std::string& text,
           const std::string& remedy) {
    host.Wants(nSwitch) ? status.Fail(text, remedy) : status.Warn(text, remedy);
}

// Of which kind the store knows lists; none when it cannot be read.
std::set<std::string> ImportedKinds() {
    std::set<std::string> kinds;
    try {
        for (const auto& source : SourceStore(STORE_OPEN_EXISTING).Sources())
            kinds.insert(source.pKind->szName);
    } catch (const CtlError&) {
        // The section about the settings tells why.
    }
    return kinds;
}

}  // namespace
