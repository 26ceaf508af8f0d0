// websecctl doctor: whether this host has what websec needs, whether websec does what it should, and what to
// do where not.
#include <unistd.h>

#include "common/product_paths.h"
#include "ctl/commands.h"
#include "ctl/status.h"

namespace {

struct tagExamination {
    Json checks = Json::array();
    std::vector<std::vector<std::string>> rows;
    size_t nFailed = 0;
};

void Examine();
void ExamineSection(const tagSection& section, tagHost& host, tagExamination& examination);
void AddLine(tagExamination& examination, const char* szState, const std::string& check,
             const tagRemark& remark);
bool IsInstalled(const tagHost& host);

}  // namespace

void AddDoctorCommand(CLI::App& app) {
    CLI::App* pDoctor = app.add_subcommand("doctor", "Check this host and websec on it, and say what to do");
    pDoctor->footer(
        "Changes nothing. Before websec is installed it looks at the host alone.\n"
        "Exit status: 0 when nothing fails, 1 otherwise.\n"
        "Example: sudo websecctl doctor");
    pDoctor->final_callback(Examine);
}

namespace {

void Examine() {
    tagExamination examination;
    tagHost host = LookAtHost();
    const bool bInstalled = IsInstalled(host);
    for (const tagSection& section : Sections()) {
        if (bInstalled || (section.nUses & BEFORE_INSTALL) != 0) ExamineSection(section, host, examination);
    }
    if (!bInstalled) {
        AddLine(examination, "warn", "websec",
                {false, "websec is not installed here", "install it, and run websecctl doctor again"});
    }
    PrintAnswer({{"checks", examination.checks}, {"failed", examination.nFailed}},
                AlignColumns(examination.rows));
    if (examination.nFailed == 0) return;
    throw CtlError(Counted(examination.nFailed, "check fails", "checks fail"));
}

// One without a remark is told by its rows, another by its remarks.
void ExamineSection(const tagSection& section, tagHost& host, tagExamination& examination) {
    tagStatus status;
    AddSection(section, status, host);
    for (const tagRemark& remark : status.remarks) {
        AddLine(examination, remark.bFails ? "fail" : "warn", section.szName, remark);
        examination.nFailed += remark.bFails;
    }
    if (!status.remarks.empty()) return;
    for (const auto& row : status.rows)
        AddLine(examination, "ok", row[0], {false, row[1], ""});
}

void AddLine(tagExamination& examination, const char* szState, const std::string& check,
             const tagRemark& remark) {
    examination.checks.push_back(
        {{"state", szState}, {"check", check}, {"text", remark.text}, {"remedy", remark.remedy}});
    examination.rows.push_back({szState, check, remark.text});
    if (!remark.remedy.empty()) examination.rows.push_back({"", "", "> " + remark.remedy});
}

bool IsInstalled(const tagHost& host) {
    return host.daemon || access(REPORT_MODULE_FILE, F_OK) == 0 || access(SERVICE_CONFIG_FILE, F_OK) == 0;
}

}  // namespace
