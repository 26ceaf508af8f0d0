#include "ctl/import/list_format.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "common/ascii.h"
#include "ctl/import/hosts_line.h"

namespace {

struct tagFormatName {
    ListFormat format;
    const char* szName;
};
constexpr std::array<tagFormatName, 4> FORMATS = {{{ListFormat::Plain, "plain"},
                                                   {ListFormat::Hosts, "hosts"},
                                                   {ListFormat::Adblock, "adblock"},
                                                   {ListFormat::Csv, "csv"}}};

// How many lines look like what.
struct tagVotes {
    size_t nLines, nHosts, nAdblock, nCsv;
    bool bAdblockHead, bCsvHead;
};

void CountLine(std::string_view line, tagVotes& votes);
bool IsCsvRecord(std::string_view line);

}  // namespace

const char* ListFormatName(ListFormat format) {
    return std::find_if(FORMATS.begin(), FORMATS.end(), [=](auto& f) { return f.format == format; })->szName;
}

std::optional<ListFormat> FindListFormat(std::string_view name) {
    const auto* pFormat =
        std::find_if(FORMATS.begin(), FORMATS.end(), [=](auto& f) { return f.szName == name; });
    return pFormat == FORMATS.end() ? std::nullopt : std::optional(pFormat->format);
}

ListFormat GuessListFormat(std::string_view beginning) {
    tagVotes votes = {};
    while (!beginning.empty()) {
        const std::string_view line = beginning.substr(0, beginning.find('\n'));
        CountLine(TrimBlanks(line), votes);
        beginning.remove_prefix(std::min(beginning.size(), line.size() + 1));
    }
    if (votes.bCsvHead || votes.nCsv * 2 > votes.nLines) return ListFormat::Csv;
    if (votes.bAdblockHead || votes.nAdblock * 2 > votes.nLines) return ListFormat::Adblock;
    return votes.nHosts * 2 > votes.nLines ? ListFormat::Hosts : ListFormat::Plain;
}

const char* WhyNoList(std::string_view beginning) {
    const auto isControl = [](char c) {
        return static_cast<uint8_t>(c) < ' ' &&
               std::string_view("\t\n\v\f\r").find(c) == std::string_view::npos;
    };
    const auto nControls = std::count_if(beginning.begin(), beginning.end(), isControl);
    if (beginning.find('\0') != beginning.npos || nControls * 100 > std::ssize(beginning)) {
        return "is not text";
    }
    const size_t nFirst = std::min(beginning.find_first_not_of(" \t\r\n"), beginning.size());
    return beginning.substr(nFirst).starts_with('<') ? "is a web page or XML, not a list" : nullptr;
}

namespace {

void CountLine(std::string_view line, tagVotes& votes) {
    if (line.empty()) return;
    if (line.starts_with("[Adblock")) votes.bAdblockHead = true;
    if (line.find(',') != line.npos) {
        CsvRow row;
        tagCsvColumns columns;
        if (row.Split(TrimBlanks(line.starts_with('#') ? line.substr(1) : line))) {
            votes.bCsvHead |= FindCsvColumns(row.Fields(), &columns);
        }
    }
    // A rule for parts of all pages looks like a comment of other formats.
    const bool bCosmetic = line.find("##") != line.npos && !line.starts_with("###");
    if (!bCosmetic && line.find_first_of("#;!") == 0) return;
    ++votes.nLines;
    votes.nAdblock += bCosmetic || line.starts_with("||") || line.starts_with("@@");
    votes.nCsv += IsCsvRecord(line);
    const std::string_view first = TakeWord(line);
    votes.nHosts += !line.empty() && line[0] != '#' && IsHostsAddress(first);
}

bool IsCsvRecord(std::string_view line) {
    return line.starts_with('"') && line.find("\",\"") != line.npos;
}

}  // namespace
