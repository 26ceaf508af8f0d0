#include "ctl/import/source_store.h"

#include <algorithm>
#include <numeric>

#include "category/category_table.h"

namespace {

std::string JoinLines(const std::vector<std::string>& lines);
std::vector<std::string> SplitLines(std::string_view text);

}  // namespace

std::vector<tagSource> SourceStore::Sources() {
    std::vector<tagSource> sources;
    const auto append = [](const tagStoredSource* pSource, void* pContext) {
        // A kind of a later version has no list here.
        const tagListKind* pKind = FindListKind(pSource->szKind);
        if (!pKind) return 0;
        static_cast<std::vector<tagSource>*>(pContext)->push_back(
            {pKind, pSource->szName, pSource->nFile, pSource->nCategory, SplitLines(pSource->szOrigin),
             pSource->nImported, static_cast<uint64_t>(pSource->nAccepted),
             static_cast<uint64_t>(pSource->nRejected), static_cast<uint64_t>(pSource->nDuplicates)});
        return 0;
    };
    Succeeded(ForEachStoredSource(&m_store, append, &sources));
    return sources;
}

void SourceStore::Put(const tagSource& source) {
    const std::string origin = JoinLines(source.files);
    const tagStoredSource stored = {.nFile = source.nFile,
                                    .szKind = source.pKind->szName,
                                    .szName = source.name.c_str(),
                                    .nCategory = source.nCategory,
                                    .szOrigin = origin.c_str(),
                                    .nImported = source.nImported,
                                    .nAccepted = static_cast<int64_t>(source.nAccepted),
                                    .nRejected = static_cast<int64_t>(source.nRejected),
                                    .nDuplicates = static_cast<int64_t>(source.nDuplicates)};
    Succeeded(PutStoredSource(&m_store, &stored));
}

bool SourceStore::Remove(const tagSource& source) {
    return Succeeded(RemoveStoredSource(&m_store, source.pKind->szName, source.name.c_str()),
                     STORE_NOT_FOUND);
}

void SourceStore::Begin() {
    Succeeded(BeginStoreChange(&m_store));
}

void SourceStore::Keep() {
    Succeeded(EndStoreChange(&m_store, 1));
}

void SourceStore::TakeBack() {
    Succeeded(EndStoreChange(&m_store, 0));
}

std::string SourceCategoryText(const tagSource& source) {
    if (source.nCategory == SOURCE_NO_CATEGORY) return "";
    const auto nCategory = static_cast<size_t>(source.nCategory);
    return nCategory < CATEGORY_COUNT ? std::string(CATEGORY_TABLE[nCategory].szName) : "several";
}

namespace {

std::string JoinLines(const std::vector<std::string>& lines) {
    return std::accumulate(lines.begin(), lines.end(), std::string(), [](const auto& text, const auto& line) {
        return text.empty() ? line : text + "\n" + line;
    });
}

std::vector<std::string> SplitLines(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        lines.emplace_back(text.substr(0, text.find('\n')));
        text.remove_prefix(std::min(text.size(), lines.back().size() + 1));
    }
    return lines;
}

}  // namespace
