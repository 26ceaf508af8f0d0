// websecctl report: what was blocked.
#include <unistd.h>

#include <climits>
#include <ctime>
#include <functional>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "ctl/commands.h"
#include "ctl/output.h"
#include "ctl/pending_file.h"
#include "ctl/report/counts.h"
#include "ctl/report/csv.h"
#include "ctl/report/filter.h"
#include "ctl/report/follow.h"
#include "ctl/report/html.h"
#include "ctl/report/json.h"
#include "ctl/report/reason.h"
#include "ctl/report/retries.h"
#include "ctl/report/store.h"
#include "ctl/report/summary.h"
#include "ctl/report/table.h"
#include "ctl/settings_store.h"
#include "ctl/time_argument.h"

namespace {

constexpr int64_t LIMIT_MOST = 1'000'000'000;
constexpr char OFF_WARNING[] =
    "the protection 'report' is off, so no new rows come; switch it on with: websecctl protection report on";

struct tagReportArguments {
    tagReportChoice choice;
    bool bCsv = false;
    bool bFollow = false;
    std::string htmlFile;
    int64_t nPurgeBefore = 0;
};
using Arguments = std::shared_ptr<tagReportArguments>;

// The options, grouped by who takes them.
struct tagReportOptions {
    std::vector<CLI::Option*> conditions;
    std::vector<CLI::Option*> forms;
};

tagReportOptions AddOptions(CLI::App& report, const Arguments& pArguments);
void AddSummary(CLI::App& report, const tagReportOptions& options, const Arguments& pArguments);
void AddPurge(CLI::App& report, const tagReportOptions& options, const Arguments& pArguments);
CLI::Option* AddTimeOption(CLI::App& app, const char* szName, int64_t* pTime, const char* szMeaning);
uint32_t ResultMask(const std::vector<std::string>& reasons);
void ShowReports(const tagReportArguments& arguments);
std::unique_ptr<ReportWriter> MakeWriter(const tagReportArguments& arguments, std::ostream& out);
void ListReports(ReportStore& store, const tagReportFilter& filter, ReportWriter& writer);
void ForEachMerged(ReportStore& store, tagReportFilter filter,
                   const std::function<bool(const tagReportRow&)>& handle);
void WritePage(ReportStore& store, const tagReportArguments& arguments);
void ShowSummary(const tagReportArguments& arguments);
void Purge(int64_t nBefore);
std::string MachineName();

}  // namespace

void AddReportCommand(CLI::App& app) {
    CLI::App* pReport = app.add_subcommand("report", "Show what was blocked, newest first");
    pReport->footer(
        "Blocks of one user, host and reason within ten seconds are one row with a count.\n"
        "A TIME is \"2026-11-22\" (its midnight), \"2026-11-22 14:00\", or so long ago: 30m, 2h, 3d, 1w.\n"
        "Example: websecctl report --since 2h --reason phishing,harmful");
    pReport->require_subcommand(0, 1);
    const auto pArguments = std::make_shared<tagReportArguments>();
    const tagReportOptions options = AddOptions(*pReport, pArguments);
    AddSummary(*pReport, options, pArguments);
    AddPurge(*pReport, options, pArguments);
    pReport->final_callback([pReport, pArguments] {
        if (pReport->get_subcommands().empty()) ShowReports(*pArguments);
    });
}

namespace {

tagReportOptions AddOptions(CLI::App& report, const Arguments& pArguments) {
    tagReportChoice& choice = pArguments->choice;
    tagReportOptions options;
    options.conditions = {
        AddTimeOption(report, "--since", &choice.nSince, "Only what was blocked at or after TIME"),
        AddTimeOption(report, "--until", &choice.nUntil, "Only what was blocked before TIME"),
        report.add_option("--user", choice.user, "Only requests of this user"),
        report.add_option("--host", choice.host, "Only this host and its sub-domains"),
        report.add_option_function<std::vector<std::string>>(
            "--reason",
            [pArguments](const std::vector<std::string>& reasons) {
                pArguments->choice.nResultMask = ResultMask(reasons);
            },
            "Only for these reasons: \"block list\", category, phishing, harmful; several with commas"),
    };
    options.conditions.back()->delimiter(',')->allow_extra_args(false);
    CLI::Option* pLimit = report.add_option("--limit", choice.nLimit, "At most so many rows; 0 for all");
    pLimit->check(CLI::Range(int64_t{0}, LIMIT_MOST))->capture_default_str();
    CLI::Option* pCsv = report.add_flag("--csv", pArguments->bCsv, "Answer with a table for spreadsheets");
    CLI::Option* pFollow =
        report.add_flag("--follow", pArguments->bFollow,
                        "Go on with new rows as they come, oldest first; with --json an object on each line");
    CLI::Option* pHtml =
        report.add_option("--html", pArguments->htmlFile, "Write a page with charts and table to this file");
    pHtml->type_name("FILE")->excludes(pCsv)->excludes(pFollow);
    pCsv->excludes(report.get_parent()->get_option("--json"));
    options.forms = {pLimit, pCsv, pFollow, pHtml};
    return options;
}

// Options of the group stand behind its subcommands too; the ones that would be passed over are refused.
void AddSummary(CLI::App& report, const tagReportOptions& options, const Arguments& pArguments) {
    CLI::App* pSummary = report.add_subcommand("summary", "Count by reason, user, category and day");
    pSummary->footer(
        "Takes --since, --until, --user, --host and --reason.\n"
        "Example: websecctl report summary --since 1w");
    for (CLI::Option* pOption : options.forms)
        pSummary->excludes(pOption);
    pSummary->final_callback([pArguments] { ShowSummary(*pArguments); });
}

void AddPurge(CLI::App& report, const tagReportOptions& options, const Arguments& pArguments) {
    CLI::App* pPurge = report.add_subcommand("purge", "Delete what was blocked before a time");
    pPurge->footer("Example: websecctl report purge --before 90d");
    AddTimeOption(*pPurge, "--before", &pArguments->nPurgeBefore, "Delete everything older than TIME")
        ->required();
    for (const auto* pGroup : {&options.conditions, &options.forms}) {
        for (CLI::Option* pOption : *pGroup)
            pPurge->excludes(pOption);
    }
    pPurge->final_callback([pArguments] { Purge(pArguments->nPurgeBefore); });
}

CLI::Option* AddTimeOption(CLI::App& app, const char* szName, int64_t* pTime, const char* szMeaning) {
    const auto read = [szName, pTime](const std::string& text) {
        const auto nTime = ReadTimeArgument(text, std::time(nullptr));
        if (!nTime) {
            throw CLI::ValidationError(szName, Quoted(text) +
                                                   " is no time such as 2026-11-22, "
                                                   "\"2026-11-22 14:00\", 2h or 3d");
        }
        *pTime = *nTime;
    };
    return app.add_option_function<std::string>(szName, read, szMeaning)->type_name("TIME");
}

uint32_t ResultMask(const std::vector<std::string>& reasons) {
    uint32_t nMask = 0;
    for (const auto& reason : reasons) {
        const uint32_t nReason = ReasonMask(reason);
        if (nReason == 0) {
            throw CLI::ValidationError(
                "--reason", Quoted(reason) + " is none of: block list, category, phishing, harmful");
        }
        nMask |= nReason;
    }
    return nMask;
}

void ShowReports(const tagReportArguments& arguments) {
    ReportStore store;
    if (!arguments.htmlFile.empty()) return WritePage(store, arguments);
    if (const int64_t nLost = store.Lost()) PrintWarning(LostRecords(nLost));
    const tagReportFilter filter = FilterOf(arguments.choice);
    if (arguments.bFollow) {
        if (!SettingsStore(STORE_OPEN_EXISTING).IsOn(SWITCH_REPORT)) PrintWarning(OFF_WARNING);
        std::ostringstream text;
        return FollowReports(store, filter, *MakeWriter(arguments, text), text);
    }
    ListReports(store, filter, *MakeWriter(arguments, std::cout));
}

std::unique_ptr<ReportWriter> MakeWriter(const tagReportArguments& arguments, std::ostream& out) {
    if (g_OutputOptions.bJson) return std::make_unique<JsonWriter>(out, arguments.bFollow);
    if (arguments.bCsv) return std::make_unique<CsvWriter>(out);
    return std::make_unique<TableWriter>(out, DescribeTerminal());
}

void ListReports(ReportStore& store, const tagReportFilter& filter, ReportWriter& writer) {
    ForEachMerged(store, filter, [&](const tagReportRow& row) {
        writer.Measure(row);
        return true;
    });
    writer.Begin();
    ForEachMerged(store, filter, [&](const tagReportRow& row) {
        writer.Write(row);
        return std::cout.good();
    });
    writer.End();
}

// The filter's limit is one of merged rows.
void ForEachMerged(ReportStore& store, tagReportFilter filter,
                   const std::function<bool(const tagReportRow&)>& handle) {
    RetryMerger merger(handle, std::exchange(filter.nLimit, 0));
    store.ForEach(filter, [&](const tagReportRow& row) { return merger.Take(row); });
    merger.Finish();
}

// The page tells who wanted to go where: as the store itself, it is for its maker's eyes alone.
void WritePage(ReportStore& store, const tagReportArguments& arguments) {
    const tagReportFilter filter = FilterOf(arguments.choice);
    const tagReportPage page = {MachineName(), DescribeChoice(arguments.choice), std::time(nullptr),
                                arguments.choice.nLimit, CountBlocked(store, filter)};
    std::string text;
    HtmlWriter writer(text, page);
    PendingFile file(arguments.htmlFile);
    ListReports(store, filter, writer);
    file.Write({reinterpret_cast<const uint8_t*>(text.data()), text.size()}, 0);
    file.PutInPlace(0600);
    PrintAnswer({{"file", arguments.htmlFile}, {"total", page.counts.nTotal}},
                "wrote " + Printable(arguments.htmlFile) + ": " + BlockedRequests(page.counts.nTotal));
}

void ShowSummary(const tagReportArguments& arguments) {
    ReportStore store;
    const tagReportCounts counts = CountBlocked(store, FilterOf(arguments.choice));
    if (counts.nLost != 0) PrintWarning(LostRecords(counts.nLost));
    PrintAnswer(SummaryDocument(counts), SummaryText(counts, DescribeTerminal()));
}

void Purge(int64_t nBefore) {
    const int64_t nDeleted = ReportStore().Purge(nBefore);
    PrintAnswer({{"before", nBefore}, {"deleted", nDeleted}},
                "deleted " + BlockedRequests(nDeleted) + " from before " + LocalTimeText(nBefore));
}

std::string MachineName() {
    char szName[HOST_NAME_MAX + 1] = {};
    return gethostname(szName, sizeof szName - 1) == 0 ? szName : "this machine";
}

}  // namespace
