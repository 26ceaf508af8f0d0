#include "ctl/import/read_lists.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <memory>

#include "common/ascii.h"
#include "ctl/import/category_folder.h"
#include "ctl/import/import_progress.h"
#include "ctl/import/interruption.h"
#include "ctl/import/line_splitter.h"
#include "ctl/import/list_format.h"
#include "ctl/import/list_input.h"
#include "modules/urlmap/url_admission.h"

namespace {

class ListsReader {
  public:
    ListsReader(std::optional<ListFormat> format, NameTaker& taker, ImportTally& tally)
        : m_format(format), m_taker(taker), m_tally(tally), m_buffer(65536) {
        if (!LoadSuffixList(&m_suffixes)) throw std::bad_alloc();
    }
    ~ListsReader() { FreeSuffixList(&m_suffixes); }
    ListsReader(const ListsReader&) = delete;
    ListsReader& operator=(const ListsReader&) = delete;

    void ReadFile(const std::string& path);

  private:
    const char* WhyNotRead(const ListInput& input) const;
    void ReadMember(ListInput& input, const std::string& shown, const std::string& folder);
    ListFormat FormatOf(std::string_view beginning, const std::string& shown,
                        const std::string& folder) const;
    void ReadLine(LineReader& reader, std::string_view line, bool bCut, const std::string& shown);

    std::optional<ListFormat> m_format;
    NameTaker& m_taker;
    ImportTally& m_tally;
    ImportProgress m_progress;
    tagSuffixList m_suffixes = {};
    std::vector<char> m_buffer;
    std::vector<tagLineItem> m_items;
    uint64_t m_nLine = 0;
};

bool IsNamedLikeList(std::string_view path);

}  // namespace

void ReadLists(const std::vector<std::string>& files, std::optional<ListFormat> format, NameTaker& taker,
               ImportTally& tally) {
    ListsReader reader(format, taker, tally);
    for (const auto& file : files) {
        struct stat status;
        if (stat(file.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
            for (const auto& path : ListCategoryFiles(file, tally))
                reader.ReadFile(path);
        } else {
            reader.ReadFile(file);
        }
    }
}

namespace {

void ListsReader::ReadFile(const std::string& path) {
    const auto pInput = std::make_unique<ListInput>(path);
    while (pInput->Next()) {
        const bool bMember = pInput->IsArchive();
        if (bMember && pInput->MemberName().ends_with('/')) continue;
        const std::string shown = bMember ? path + ":" + pInput->MemberName() : path;
        const std::string& inside = bMember ? pInput->MemberName() : path;
        const std::string folder = IsCategoryFile(inside) ? FolderOf(inside) : "";
        const char* szWhyNot = bMember ? WhyNotRead(*pInput) : nullptr;
        if (!szWhyNot) szWhyNot = m_taker.Enter(folder);
        if (szWhyNot) {
            m_tally.LeaveOut(folder.empty() ? shown : folder, szWhyNot);
        } else {
            ReadMember(*pInput, shown, folder);
        }
    }
}

const char* ListsReader::WhyNotRead(const ListInput& input) const {
    if (!input.IsRegularFile()) return "is a link or no file";
    const std::string& name = input.MemberName();
    return IsCategoryFile(name) || IsNamedLikeList(name) ? nullptr : "is no list of names";
}

void ListsReader::ReadMember(ListInput& input, const std::string& shown, const std::string& folder) {
    size_t nBytes = input.Read(m_buffer);
    std::string_view bytes(m_buffer.data(), nBytes);
    const ListFormat format = FormatOf(bytes, shown, folder);
    m_tally.AddFile(shown, ListFormatName(format));
    constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
    if (bytes.starts_with(BYTE_ORDER_MARK)) bytes.remove_prefix(BYTE_ORDER_MARK.size());

    LineReader reader(format);
    LineSplitter splitter;
    const auto each = [&](std::string_view line, bool bCut) { ReadLine(reader, line, bCut, shown); };
    m_nLine = 0;
    while (nBytes != 0) {
        splitter.Feed(bytes, each);
        LeaveWhenInterrupted();
        m_progress.Show(shown, m_nLine, input.BytesRead(), input.Size());
        nBytes = nBytes == m_buffer.size() ? input.Read(m_buffer) : 0;
        bytes = {m_buffer.data(), nBytes};
    }
    splitter.Finish(each);
}

ListFormat ListsReader::FormatOf(std::string_view beginning, const std::string& shown,
                                 const std::string& folder) const {
    if (const char* szWhyNot = WhyNoList(beginning))
        throw CtlError("refused: " + Quoted(shown) + " " + szWhyNot);
    if (m_format) return *m_format;
    if (!folder.empty()) return ListFormat::Plain;
    if (beginning.size() == m_buffer.size()) beginning = beginning.substr(0, beginning.rfind('\n') + 1);
    return GuessListFormat(beginning);
}

void ListsReader::ReadLine(LineReader& reader, std::string_view line, bool bCut, const std::string& shown) {
    ++m_nLine;
    const char* szReason = reader.Read(line, m_items);
    if (bCut && (szReason || !m_items.empty())) {
        szReason = "is longer than 8192 bytes";
        m_items.clear();
    }
    if (szReason) m_tally.Reject(shown, m_nLine, TrimBlanks(line), szReason);
    for (const tagLineItem& item : m_items) {
        tagCanonicalURL url;
        const int nAdmission = AdmitURL(m_suffixes, item.text, &url);
        const char* szWhyNot = nAdmission == ADMIT_OK ? m_taker.Take(item, url) : AdmissionText(nAdmission);
        if (szWhyNot) m_tally.Reject(shown, m_nLine, item.text, szWhyNot);
    }
}

bool IsNamedLikeList(std::string_view path) {
    constexpr std::array<std::string_view, 4> ENDINGS = {".txt", ".csv", ".hosts", ".list"};
    return BaseName(path) == "hosts" || std::any_of(ENDINGS.begin(), ENDINGS.end(),
                                                    [path](auto ending) { return path.ends_with(ending); });
}

}  // namespace
