#include <unistd.h>

#include <memory>

#include "category/category_engine.h"
#include "category/category_lookup.h"
#include "category/category_server_client.h"
#include "category/category_server_protocol.h"
#include "category/category_status.h"
#include "common/copy_text.h"
#include "common/product_paths.h"
#include "ctl/config_check.h"
#include "ctl/data_file_check.h"
#include "ctl/data_file_text.h"
#include "ctl/imported_lists.h"
#include "ctl/module_check.h"
#include "ctl/status.h"

namespace {

constexpr char SERVER_PLACE[] = "127.0.0.1:7101";

std::string DataFileState(const tagDataFileKind& kind, const std::string& path, tagStatus& status,
                          Json& document);
void AddServer(tagStatus& status);
const char* AskServer();

}  // namespace

void AddConfig(tagStatus& status) {
    const tagConfigCheck check = CheckServiceConfig(SERVICE_CONFIG_FILE);
    status.document["config"] = {{"file", SERVICE_CONFIG_FILE}, {"there", check.bThere}};
    status.rows.push_back({"websec.cfg", !check.bThere            ? "not there, the defaults hold"
                                         : check.problems.empty() ? "sound"
                                                                  : "see below"});
    for (const auto& problem : check.problems)
        status.problems.push_back("websec.cfg: " + problem);
}

void AddModules(tagStatus& status, const std::optional<tagDaemonProcess>& daemon) {
    const auto modules = CheckModules();
    size_t nSound = 0;
    Json& document = status.document["modules"] = Json::object();
    for (const auto& module : modules) {
        document[module.szName] = module.problem.empty();
        if (module.problem.empty()) {
            ++nSound;
        } else {
            status.problems.push_back(module.problem);
        }
        if (module.problem.empty() && std::string(module.szName) == URL_SCANNER_FILE && daemon &&
            HasLoaded(*daemon, URL_SCANNER_FILE) == false) {
            status.problems.push_back("websec has not loaded " + std::string(URL_SCANNER_FILE) +
                                      "; it tries again at its next start or refresh (SIGUSR2)");
        }
    }
    status.rows.push_back(
        {"modules", std::to_string(nSound) + " of " + std::to_string(modules.size()) + " sound"});
}

void AddDataFiles(tagStatus& status) {
    Json& document = status.document["data_files"] = Json::object();
    std::string text;
    for (const auto& kind : DataFileKinds()) {
        const std::string path = std::string(PRODUCT_DIR) + kind.szFileName;
        text += (text.empty() ? "" : ", ") + std::string(kind.szName) + " " +
                DataFileState(kind, path, status, document[kind.szName]);
    }
    status.rows.push_back({"data files", text});
}

void AddEngine(tagStatus& status) {
    if (!IsLibraryMode(ReadCategoryMode())) return AddServer(status);
    uint8_t nStatus = CATEGORY_STATUS_ON;
    (void)ReadCategoryStatus(&nStatus);
    const bool bOn = nStatus == CATEGORY_STATUS_ON;
    status.document["category_engine"] = {{"mode", "library"}, {"on", bOn}};
    status.rows.push_back({"categories by", std::string("engine library") + (bOn ? "" : ", kept off")});
    if (!bOn) {
        status.problems.push_back(std::string(CATEGORY_STATUS_FILE) +
                                  " keeps the category engine off: no category is blocked");
    }
}

void AddImportedLists(tagStatus& status) {
    Json& document = status.document["imported"] = Json::object();
    std::string text;
    for (const auto& list : ReadImportedLists()) {
        document[list.szName] = {{"file", list.path}, {"there", list.bThere}, {"names", list.nNames}};
        text += (text.empty() ? "" : ", ") + std::string(list.szName) + " " +
                (!list.bThere           ? "none"
                 : list.problem.empty() ? std::to_string(list.nNames) + " names"
                                        : "unusable");
        if (list.problem.empty()) continue;
        status.problems.push_back(Printable(list.path) + " " + list.problem +
                                  ": it counts as empty; import it again");
    }
    status.rows.push_back({"imported", text});
}

namespace {

std::string DataFileState(const tagDataFileKind& kind, const std::string& path, tagStatus& status,
                          Json& document) {
    document = {{"file", path}, {"there", access(path.c_str(), F_OK) == 0}, {"records", 0}};
    if (!document["there"]) return "none";
    std::string problem;
    try {
        const tagDataFileContent content = ReadDataFile(path, kind);
        document["records"] = CountRecords(kind, content.records);
        if (content.problems.empty()) {
            return kind.nCountBytes == 0 ? FormatRecords(kind, content.records)[0]
                                         : document["records"].dump();
        }
        for (const auto& part : content.problems)
            problem += (problem.empty() ? path + " is damaged: " : "; ") + part;
    } catch (const CtlError& error) {
        problem = error.what();
    }
    status.problems.push_back(problem + " (websec goes on without it)");
    return "unusable";
}

void AddServer(tagStatus& status) {
    const char* szProblem = AskServer();
    status.document["category_engine"] = {{"mode", "server"}, {"on", szProblem == nullptr}};
    status.rows.push_back({"categories by", std::string("category server at ") + SERVER_PLACE +
                                                (szProblem ? "" : ", which answers")});
    if (szProblem) {
        status.problems.push_back(std::string(szProblem) + " at " + SERVER_PLACE +
                                  ": no category is blocked; start websec-catserver");
    }
}

// What keeps the category server from answering, or null.
const char* AskServer() {
    CategoryServerClient client;
    client.SetHost(CATSERVER_HOST);
    client.SetPort(CATSERVER_PORT);
    const bool bListens = client.Connect();
    client.Close();
    if (!bListens) return "nobody listens";
    const auto pRequest = std::make_unique<tagWebRequest>();
    CopyText(pRequest->szURL, "http://websec.invalid/");
    if (AskCategoryServer(*pRequest, CATSERVER_PORT) != 0) return "the category server gives no answer";
    return nullptr;
}

}  // namespace
