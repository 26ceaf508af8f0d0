// websecctl datafile: builds, shows and verifies the protected data files.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "ctl/commands.h"
#include "ctl/data_file_check.h"
#include "ctl/data_file_kind.h"
#include "ctl/data_file_text.h"
#include "ctl/data_file_writer.h"
#include "ctl/output.h"
#include "ctl/read_file.h"

namespace {

struct tagDataFileArguments {
    std::string kind;
    std::string file;
    std::string input = "-";
};
using Arguments = std::shared_ptr<tagDataFileArguments>;

void AddBuild(CLI::App& group, const std::vector<std::string>& kinds);
void AddReading(CLI::App& group, const char* szName, const char* szDescription,
                const std::vector<std::string>& kinds, void (*Run)(const tagDataFileArguments&));
void Build(const tagDataFileArguments& arguments);
void RefuseToReplaceText(const std::string& path);
void Show(const tagDataFileArguments& arguments);
void Verify(const tagDataFileArguments& arguments);
std::string DamageText(const std::string& path, const tagDataFileContent& content);
std::string ReadInput(const tagDataFileKind& kind, const std::string& input);
std::string CountText(const tagDataFileKind& kind, const Records& records);

}  // namespace

void AddDatafileCommand(CLI::App& app) {
    std::vector<std::string> kinds;
    for (const auto& kind : DataFileKinds())
        kinds.push_back(kind.szName);
    CLI::App* pGroup = app.add_subcommand("datafile", "Build, show and verify the protected data files");
    pGroup->footer("Example: websecctl datafile verify /usr/lib/Morvane/Morvane/pcintwl.dat");
    pGroup->require_subcommand(1);
    AddBuild(*pGroup, kinds);
    AddReading(*pGroup, "show", "Print a file's records as text that build reads", kinds, Show);
    AddReading(*pGroup, "verify", "Say whether a file is sound, and what is wrong with it", kinds, Verify);
}

namespace {

void AddBuild(CLI::App& group, const std::vector<std::string>& kinds) {
    const auto pArguments = std::make_shared<tagDataFileArguments>();
    CLI::App* pBuild = group.add_subcommand("build", "Make a data file of text, one record a line");
    pBuild->add_option("KIND", pArguments->kind, "What the file holds")
        ->required()
        ->check(CLI::IsMember(kinds));
    pBuild->add_option("OUT", pArguments->file, "The file to write; replaced as a whole")->required();
    pBuild->add_option("INPUT", pArguments->input,
                       "Text file, - for standard input (default); for category-status on or off");
    pBuild->footer(
        "Records: URL patterns (a leading * finds them anywhere), ranges (10.0.0.0/8), or ports.\n"
        "Lines that begin with # are comments. A running websec is told by: pkill -USR2 -x websec\n"
        "Example: websecctl datafile build ranges wsintip.dat ranges.txt");
    pBuild->final_callback([pArguments] { Build(*pArguments); });
}

void AddReading(CLI::App& group, const char* szName, const char* szDescription,
                const std::vector<std::string>& kinds, void (*Run)(const tagDataFileArguments&)) {
    const auto pArguments = std::make_shared<tagDataFileArguments>();
    CLI::App* pCommand = group.add_subcommand(szName, szDescription);
    pCommand->add_option("FILE", pArguments->file, "The data file")->required();
    pCommand->add_option("--kind", pArguments->kind, "Its kind, if its name does not tell")
        ->check(CLI::IsMember(kinds));
    pCommand->footer(std::string("Example: websecctl datafile ") + szName + " pcintwl.dat");
    pCommand->final_callback([pArguments, Run] { Run(*pArguments); });
}

void Build(const tagDataFileArguments& arguments) {
    const tagDataFileKind& kind = FindDataFileKind(arguments.kind);
    RefuseToReplaceText(arguments.file);
    std::vector<std::string> warnings;
    const Records records = ParseRecords(kind, ReadInput(kind, arguments.input), warnings);
    for (const auto& warning : warnings)
        PrintWarning(warning);
    WriteDataFile(arguments.file, kind, records);
    PrintAnswer({{"file", arguments.file},
                 {"kind", kind.szName},
                 {"records", CountRecords(kind, records)},
                 {"warnings", warnings}},
                Printable(arguments.file) + ": written, " + CountText(kind, records));
}

// Somebody who named the input in place of the output would lose it.
void RefuseToReplaceText(const std::string& path) {
    if (path.ends_with(".dat")) return;  // whatever is in it now
    const auto old = ReadTextFile(path);
    if (!old || old->empty() || old->find('\0') != old->npos) return;
    throw CtlError(
        Printable(path) +
        " is a text, not a data file, and stays as it is; name the file to write first, then the text");
}

void Show(const tagDataFileArguments& arguments) {
    const tagDataFileKind& kind = RecogniseDataFileKind(arguments.file, arguments.kind);
    const tagDataFileContent content = ReadDataFile(arguments.file, kind);
    if (!content.problems.empty()) throw CtlError(DamageText(arguments.file, content));
    const auto lines = FormatRecords(kind, content.records);
    PrintAnswer({{"file", arguments.file}, {"kind", kind.szName}, {"records", lines}}, Joined(lines, "\n"));
}

void Verify(const tagDataFileArguments& arguments) {
    const tagDataFileKind& kind = RecogniseDataFileKind(arguments.file, arguments.kind);
    const tagDataFileContent content = ReadDataFile(arguments.file, kind);
    const bool bSound = content.problems.empty();
    const Json document{{"file", arguments.file},
                        {"kind", kind.szName},
                        {"sound", bSound},
                        {"records", CountRecords(kind, content.records)},
                        {"problems", content.problems}};
    PrintAnswer(document,
                bSound ? Printable(arguments.file) + ": sound, " + CountText(kind, content.records) : "");
    if (!bSound) throw CtlError(DamageText(arguments.file, content));
}

std::string DamageText(const std::string& path, const tagDataFileContent& content) {
    return Printable(path) + " is damaged: " + Joined(content.problems, "; ");
}

std::string ReadInput(const tagDataFileKind& kind, const std::string& input) {
    const bool bValue = input == "on" || input == "off" || input == "1" || input == "0";
    if (kind.kind == DataFileKind::CategoryStatus && bValue) return input;
    const auto text = input == "-" ? ReadDescriptor(STDIN_FILENO) : ReadTextFile(input);
    if (!text) throw CtlError("cannot read " + Quoted(input) + ": " + std::strerror(errno));
    return *text;
}

std::string CountText(const tagDataFileKind& kind, const Records& records) {
    if (kind.nCountBytes == 0) return "category filter " + FormatRecords(kind, records)[0];
    return Counted(CountRecords(kind, records), kind.szRecord);
}

}  // namespace
