#include "ctl/import/import_tally.h"

namespace {

constexpr size_t REJECTIONS_SHOWN = 5;
constexpr size_t NAMES_SHOWN = 20;  // of what was left out, for each reason
constexpr size_t FILES_SHOWN = 200;

std::string JoinNames(const std::vector<std::string>& names, uint64_t nCount);

}  // namespace

void ImportTally::Reject(const std::string& file, uint64_t nLine, std::string_view text,
                         const char* szReason) {
    ++m_nRejected;
    ++m_reasons[szReason];
    if (m_first.size() == REJECTIONS_SHOWN) return;
    m_first.push_back({Printable(file) + ":" + std::to_string(nLine), Quoted(text), szReason});
}

void ImportTally::LeaveOut(const std::string& what, const char* szReason) {
    tagLeftOut& leftOut = m_leftOut[szReason];
    if (leftOut.last == what) return;
    leftOut.last = what;
    ++leftOut.nCount;
    if (leftOut.first.size() < NAMES_SHOWN) leftOut.first.push_back(Printable(what));
}

void ImportTally::AddFile(const std::string& file, const char* szFormat) {
    ++m_nFiles;
    if (m_files.size() < FILES_SHOWN) m_files.emplace_back(file, szFormat);
}

std::string ImportTally::Text() const {
    std::string text;
    if (m_nFiles == 1) text += "read as: " + std::string(m_files[0].second) + "\n";
    if (m_nRejected != 0) {
        text += "rejected lines: " + std::to_string(m_nRejected) + "\n";
        for (const auto& [reason, nCount] : m_reasons)
            text += "  " + std::to_string(nCount) + ": " + std::string(reason) + "\n";
        text += m_nRejected > m_first.size() ? "the first of them:\n" : "these are:\n";
        for (const auto& rejection : m_first)
            text += "  " + rejection.place + ": " + rejection.text + " " + rejection.szReason + "\n";
    }
    for (const auto& [reason, leftOut] : m_leftOut) {
        text += "left out, since it " + std::string(reason) + " (" + std::to_string(leftOut.nCount) +
                "): " + JoinNames(leftOut.first, leftOut.nCount) + "\n";
    }
    if (!text.empty()) text.pop_back();
    return text;
}

void ImportTally::Describe(Json& document) const {
    Json files = Json::array(), reasons = Json::object(), first = Json::array(), leftOut = Json::array();
    for (const auto& [file, szFormat] : m_files)
        files.push_back({{"file", file}, {"format", szFormat}});
    for (const auto& [reason, nCount] : m_reasons)
        reasons[std::string(reason)] = nCount;
    for (const auto& rejection : m_first) {
        first.push_back(
            {{"place", rejection.place}, {"text", rejection.text}, {"reason", rejection.szReason}});
    }
    for (const auto& [reason, what] : m_leftOut)
        leftOut.push_back({{"reason", reason}, {"count", what.nCount}, {"first", what.first}});
    document["files"] = std::move(files);
    document["rejected"] = m_nRejected;
    document["reasons"] = std::move(reasons);
    document["first_rejected"] = std::move(first);
    document["left_out"] = std::move(leftOut);
}

namespace {

std::string JoinNames(const std::vector<std::string>& names, uint64_t nCount) {
    std::string text;
    for (const auto& name : names)
        text += (text.empty() ? "" : ", ") + name;
    return nCount > names.size() ? text + ", ..." : text;
}

}  // namespace
