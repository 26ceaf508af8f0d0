// websecctl status: whether websec works here, and if not, why.
#include <memory>

#include "ctl/commands.h"
#include "ctl/status.h"
#include "ctl/traffic_watch.h"

namespace {

void ShowStatus();
void AddTraffic(tagStatus& status, const tagHost& host);
void AddRemarks(tagStatus& status);

}  // namespace

void AddStatusCommand(CLI::App& app) {
    CLI::App* pStatus = app.add_subcommand("status", "Tell whether websec works, and if not, why");
    const auto pWatch = std::make_shared<bool>(false);
    pStatus->add_flag("--watch", *pWatch,
                      "Show the traffic of each second until interrupted (LiveTraffic 1)");
    pStatus->footer(
        "Exit status: 0 when protection works; 1 when websec is not running, when it does not block what it\n"
        "should, or when that cannot be told. websecctl doctor looks at the host, too.\n"
        "Example: sudo websecctl status");
    pStatus->final_callback([pWatch] { *pWatch ? WatchTraffic() : ShowStatus(); });
}

namespace {

void ShowStatus() {
    tagStatus status;
    tagHost host = LookAtHost();
    for (const tagSection& section : Sections()) {
        if ((section.nUses & IN_STATUS) != 0) AddSection(section, status, host);
    }
    AddTraffic(status, host);
    AddRemarks(status);
    PrintAnswer(status.document, AlignColumns(status.rows));
    if (status.Fails()) throw CtlError("websec does not protect as it should; see the problems");
    if (status.bNeedsRoot) throw CtlError("only root can see whether websec protects: sudo websecctl status");
}

void AddTraffic(tagStatus& status, const tagHost& host) {
    status.document["traffic"] = nullptr;
    if (!host.traffic) return;
    status.document["traffic"] = TrafficDocument(*host.traffic);
    for (auto& row : TrafficRows(*host.traffic))
        status.rows.push_back(std::move(row));
}

// What fails stands last, where it is read first.
void AddRemarks(tagStatus& status) {
    for (const bool bFails : {false, true}) {
        Json& texts = status.document[bFails ? "problems" : "warnings"] = Json::array();
        for (const tagRemark& remark : status.remarks) {
            if (remark.bFails != bFails) continue;
            const std::string text = remark.text + (remark.remedy.empty() ? "" : "; " + remark.remedy);
            status.rows.push_back({bFails ? "problem" : "warning", text});
            texts.push_back(text);
        }
    }
}

}  // namespace
